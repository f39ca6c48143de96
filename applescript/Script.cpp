#include "applescript/Script.h"

#include "applescript/additions/StandardAdditions.h"
#include "applescript/objects/ApplicationEvents.h"
#include "applescript/objects/Models.h"
#include "applescript/objects/anyapplication/AnyApplication.h"
#include "applescript/run/Interpreter.h"
#include "applescript/syntax/Parser.h"
#include "applescript/values/Stack.h"

namespace ombru::applescript {

namespace {

const Dictionary &everywhere() {
    static const Dictionary dictionary = [] {
        Dictionary made;
        addLanguageWords(made);
        addEverywhereWords(made);
        addStandardAdditions(made);
        return made;
    }();
    return dictionary;
}

constexpr Vocabulary VOCABULARY{&everywhere, &wordsOfApplication};

} // namespace

std::expected<Script, Diagnostic> compile(const QString &text) {
    const StackScope stack;
    try {
        return Script{text, Parser(text, VOCABULARY).parse()};
    } catch (const SyntaxError &error) {
        return std::unexpected(Diagnostic{inCharacters(text, error.range), error.message, error.number});
    } catch (const ScriptError &error) {
        return std::unexpected(Diagnostic{{}, error.message, error.number});
    }
}

std::expected<Value, Diagnostic> run(const Script &script, Host &host, const QStringList &arguments) {
    const StackScope stack;
    try {
        return Interpreter(Surroundings{host, VOCABULARY, &standardAddition, &ApplicationEvents::make})
            .run(script.definition, arguments, script.text);
    } catch (const ScriptError &error) {
        const Range whole{0, script.text.size()};
        return std::unexpected(
            Diagnostic{inCharacters(script.text, error.range.value_or(whole)), error.message, error.number});
    }
}

} // namespace ombru::applescript
