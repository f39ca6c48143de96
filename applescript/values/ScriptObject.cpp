#include "applescript/values/ScriptObject.h"

namespace ombru::applescript {

void ScriptObject::release() {
    const auto droppedProperties = std::exchange(properties, {});
    const auto droppedParent = std::exchange(parent, {});
}

ScriptPtr parentOf(const ScriptPtr &script) {
    const auto *parent = script->parent.as<ScriptPtr>();
    return parent ? *parent : nullptr;
}

std::shared_ptr<Value> findProperty(const ScriptPtr &script, const QString &key) {
    for (ScriptPtr owner = script; owner; owner = parentOf(owner)) {
        if (const auto property = owner->properties.value(key))
            return property;
    }
    return nullptr;
}

} // namespace ombru::applescript
