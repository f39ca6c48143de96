#include "applescript/run/Interpreter.h"

#include "applescript/syntax/Parser.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

Value Interpreter::run(const std::shared_ptr<const ScriptDefinition> &script, const QStringList &arguments,
                       const QString &text) {
    m_references.start(text);
    const auto root = std::make_shared<ScriptObject>();
    root->definition = script;
    m_scopes.start(root);
    if (m_statements.execute(script->body) == Flow::exitRepeat)
        failExitOutside();
    const auto handler = m_handlers.find(root, u"run"_s);
    if (!handler)
        return follow(m_scopes.frame().result);
    std::vector<Value> passed;
    if (!handler->parameters.empty())
        passed.push_back(Value::list({arguments.begin(), arguments.end()}));
    return follow(m_handlers.invoke(root, *handler, passed));
}

Value Interpreter::runScript(const ScriptPtr &script) {
    const auto handler = m_handlers.find(script, u"run"_s);
    if (!handler)
        throw ScriptError{error::NOT_UNDERSTOOD, u"«script» doesn’t understand the “run” message."_s};
    return m_handlers.invoke(script, *handler, {});
}

// Places in that text mean nothing in this one.
Value Interpreter::runText(const QString &text, const QStringList &arguments) {
    try {
        const auto script = Parser(text, m_surroundings.vocabulary).parse();
        return Interpreter(m_surroundings).run(script, arguments, text);
    } catch (const SyntaxError &error) {
        throw ScriptError{error.number, error.message};
    } catch (const ScriptError &error) {
        throw ScriptError{error.number, error.message};
    }
}

} // namespace ombru::applescript
