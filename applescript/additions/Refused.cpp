// Known so that a script compiles and can catch the refusal: running one says what it would need, and what there is
// instead.
#include "applescript/additions/Addition.h"
#include "applescript/values/Errors.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

[[noreturn]] void refuse(const Invocation &command, const QString &reason) {
    throw ScriptError{error::NOT_UNDERSTOOD,
                      u"The command %1 isn’t available on this computer: %2."_s.arg(command.name(), reason)};
}

Value voice(const Invocation &command) {
    refuse(command, u"it has no voice"_s);
}

Value lists(const Invocation &command) {
    refuse(command, u"it has no list dialog; display dialog asks with buttons or a text field"_s);
}

Value files(const Invocation &command) {
    refuse(command, u"a script can’t ask for files; write their paths into it"_s);
}

Value access(const Invocation &command) {
    refuse(command, u"a script reads and writes files with do shell script"_s);
}

Value environment(const Invocation &command) {
    refuse(command, u"a script reads the environment with do shell script"_s);
}

using enum CommandTerm::Direct;

constexpr Addition COMMANDS[] = {
    {{.name = u"choose from list",
      .direct = expression,
      .parameters = u"with title|with prompt|default items|OK button name|cancel button name",
      .flags = u"multiple selections allowed|empty selection allowed"},
     &lists},
    {{.name = u"say",
      .direct = expression,
      .parameters = u"using|speaking rate|pitch|volume|saving to",
      .flags = u"waiting until completion|stopping current speech"},
     &voice},
    {{.name = u"choose file",
      .direct = none,
      .parameters = u"with prompt|of type|default location",
      .flags = u"invisibles|multiple selections allowed|showing package contents"},
     &files},
    {{.name = u"choose folder",
      .direct = none,
      .parameters = u"with prompt|default location",
      .flags = u"invisibles|multiple selections allowed|showing package contents"},
     &files},
    {{.name = u"choose file name", .direct = none, .parameters = u"with prompt|default name|default location"}, &files},
    {{.name = u"open for access", .direct = expression, .flags = u"write permission"}, &access},
    {{.name = u"close access", .direct = expression}, &access},
    {{.name = u"get eof", .direct = expression}, &access},
    {{.name = u"read",
      .direct = expression,
      .parameters = u"from|for|to|before|until|using delimiter|using delimiters|as"},
     &access},
    {{.name = u"write", .direct = expression, .parameters = u"to|starting at|for|as"}, &access},
    {{.name = u"system attribute", .direct = expression, .parameters = u"has"}, &environment},
};

} // namespace

Suite refusedAdditions() {
    return {COMMANDS, {}};
}

} // namespace ombru::applescript
