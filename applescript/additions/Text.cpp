// Text: where a part of it is, and characters by their numbers.
#include "applescript/additions/Addition.h"
#include "applescript/values/Coercion.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

Value offsetOf(const Invocation &command) {
    const auto &rules = command.rules();
    const QString part = comparable(command.text(u"of"), rules);
    const QString whole = comparable(command.text(u"in"), rules);
    const auto at = part.isEmpty() ? -1 : whole.indexOf(part, 0, rules.caseSensitivity());
    if (at < 0)
        return 0;
    return Value(qint64(textElements(whole.first(at), u"character"_s, rules).size()) + 1);
}

Value asciiCharacter(const Invocation &command) {
    return QString(QChar(char16_t(toInteger(command.direct(), command.rules()))));
}

Value asciiNumber(const Invocation &command) {
    const QString text = toText(command.direct(), command.rules());
    return text.isEmpty() ? Value(0) : Value(qint64(text.front().unicode()));
}

using enum CommandTerm::Direct;

constexpr Addition COMMANDS[] = {
    {{.name = u"offset", .direct = none, .parameters = u"of|in"}, &offsetOf},
    {{.name = u"ASCII character", .direct = expression}, &asciiCharacter},
    {{.name = u"ASCII number", .direct = expression}, &asciiNumber},
};

} // namespace

Suite textAdditions() {
    return {COMMANDS, {}};
}

} // namespace ombru::applescript
