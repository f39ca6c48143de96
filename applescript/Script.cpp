#include "applescript/Script.h"

#include "applescript/additions/StandardAdditions.h"
#include "applescript/run/Interpreter.h"
#include "applescript/syntax/Parser.h"
#include "applescript/syntax/Words.h"
#include "applescript/values/Stack.h"

namespace ombru::applescript {

namespace {

const Dictionary &everywhere() {
    static const Dictionary dictionary = [] {
        Dictionary made;
        addLanguageWords(made);
        addStandardAdditions(made);
        return made;
    }();
    return dictionary;
}

Scope ofApplication(const QString *name) {
    if (!name || name->compare(u"System Events", Qt::CaseInsensitive) == 0 ||
        name->compare(u"com.apple.systemevents", Qt::CaseInsensitive) == 0)
        return {&systemEventsDictionary(), &standardSuite()};
    return {&commonWords(), &standardSuite()};
}

constexpr Vocabulary VOCABULARY{&everywhere, &ofApplication};

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
        return Interpreter(Surroundings{host, VOCABULARY, &standardAddition})
            .run(script.definition, arguments, script.text);
    } catch (const ScriptError &error) {
        const Range whole{0, script.text.size()};
        return std::unexpected(
            Diagnostic{inCharacters(script.text, error.range.value_or(whole)), error.message, error.number});
    }
}

} // namespace ombru::applescript
