#include "applescript/run/Script.h"

#include "applescript/run/Interpreter.h"
#include "applescript/syntax/Parser.h"
#include "applescript/values/Stack.h"

namespace ombru::applescript {

std::expected<Script, Diagnostic> compile(const QString &text) {
    const StackScope stack;
    try {
        return Script{text, Parser(text).parse()};
    } catch (const SyntaxError &error) {
        return std::unexpected(Diagnostic{inCharacters(text, error.range), error.message, error.number});
    } catch (const ScriptError &error) {
        return std::unexpected(Diagnostic{{}, error.message, error.number});
    }
}

std::expected<Value, Diagnostic> run(const Script &script, Host &host, const QStringList &arguments) {
    const StackScope stack;
    try {
        return Interpreter(host).run(script.definition, arguments, script.text);
    } catch (const ScriptError &error) {
        const Range whole{0, script.text.size()};
        return std::unexpected(
            Diagnostic{inCharacters(script.text, error.range.value_or(whole)), error.message, error.number});
    }
}

} // namespace ombru::applescript
