#include "applescript/run/Scopes.h"

namespace ombru::applescript {

// What is let go of may hold the last reference to this frame: it dies only after the last member was emptied.
void Frame::release() {
    const auto droppedLocals = std::exchange(locals, {});
    const auto droppedMe = std::exchange(me, {});
    const auto droppedTarget = std::exchange(target, {});
    const auto droppedResult = std::exchange(result, {});
}

void Frame::useGlobals(const std::vector<Name> &names) {
    for (const auto &name : names)
        globals.insert(name.key);
}

void Scopes::start(const ScriptPtr &script) {
    m_root = script;
    m_frame = std::make_shared<Frame>(script);
    m_frame->useGlobals(script->definition->globals);
}

std::shared_ptr<Value> Scopes::find(const QString &key) const {
    const bool global = m_frame->globals.contains(key);
    if (!global) {
        if (const auto local = m_frame->locals.value(key))
            return local;
    }
    if (const auto property = findProperty(m_frame->me, key))
        return property;
    return global ? m_root->properties.value(key) : nullptr;
}

std::shared_ptr<Value> Scopes::place(const QString &key) {
    if (!m_frame->globals.contains(key)) {
        if (auto found = find(key))
            return found;
        auto &local = m_frame->locals[key];
        local = std::make_shared<Value>();
        return local;
    }
    auto &global = m_root->properties[key];
    if (!global)
        global = std::make_shared<Value>();
    return global;
}

void Scopes::declare(const Declaration &declaration) {
    for (const auto &name : declaration.names) {
        if (declaration.global)
            m_frame->globals.insert(name.key);
        else
            m_frame->locals.insert(name.key, std::make_shared<Value>());
    }
}

} // namespace ombru::applescript
