// The text on the clipboard.
#include "applescript/additions/Addition.h"
#include "applescript/run/Need.h"
#include "applescript/values/Coercion.h"

namespace ombru::applescript {

namespace {

Value theClipboard(const Invocation &command) {
    return command.asWanted(need(need(command.host().clipboard())->text()));
}

Value setTheClipboard(const Invocation &command) {
    const QString text = toText(command.direct(), command.rules());
    need(need(command.host().clipboard())->setText(text));
    return {};
}

using enum CommandTerm::Direct;

constexpr Addition COMMANDS[] = {
    {{.name = u"the clipboard", .direct = none, .parameters = u"as"}, &theClipboard},
    {{.name = u"set the clipboard to", .direct = expression}, &setTheClipboard},
};

} // namespace

Suite clipboardAdditions() {
    return {COMMANDS, {}};
}

} // namespace ombru::applescript
