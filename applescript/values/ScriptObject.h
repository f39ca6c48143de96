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

    void release() override;
};

ScriptPtr parentOf(const ScriptPtr &script); // nothing when the parent is no script object

// Its own property, or the nearest parent's; nothing when none has it.
std::shared_ptr<Value> findProperty(const ScriptPtr &script, const QString &key);

} // namespace ombru::applescript
