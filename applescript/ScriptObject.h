// A script object at run time: properties that live as long as it does, handlers, and a parent to ask next.
#pragma once
#include "applescript/Ast.h"

#include <QHash>

namespace ombru::applescript {

using Variables = QHash<QString, std::shared_ptr<Value>>;

struct ScriptObject final : Collectable {
    std::shared_ptr<const ScriptDefinition> definition;
    Variables properties; // and globals
    Value parent;

    void release() override {
        const auto droppedProperties = std::exchange(properties, {});
        const auto droppedParent = std::exchange(parent, {});
    }
};

} // namespace ombru::applescript
