// A script object at run time: properties that live as long as it does, handlers, and a parent to ask next.
#pragma once
#include "applescript/values/Value.h"

#include <QHash>

namespace ombru::applescript {

struct ScriptDefinition;
using Variables = QHash<QString, std::shared_ptr<Value>>;

struct ScriptObject final : Collectable {
    Name name; // empty for the script itself
    std::shared_ptr<const ScriptDefinition> definition;
    Variables properties; // and globals
    Value parent;

    void release() override {
        const auto droppedProperties = std::exchange(properties, {});
        const auto droppedParent = std::exchange(parent, {});
    }
};

} // namespace ombru::applescript
