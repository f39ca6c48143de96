// Scripts run by scripts.
#include "applescript/additions/Addition.h"
#include "applescript/values/Coercion.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

// In a script of its own; its errors are placed where it was run.
Value runScript(const Invocation &command) {
    const Value source = command.direct();
    if (const auto *script = source.as<ScriptPtr>())
        return command.context().runScript(*script);
    QStringList arguments;
    if (const auto given = command.parameter(u"with parameters")) {
        const Value list = coerce(*given, u"list"_s, command.rules());
        for (const auto &item : (*list.as<ListPtr>())->items)
            arguments.append(toText(command.context().follow(item), command.rules()));
    }
    return command.context().runText(toText(source, command.rules()), arguments);
}

using enum CommandTerm::Direct;

constexpr Addition COMMANDS[] = {
    {{.name = u"run script", .direct = expression, .parameters = u"with parameters|in"}, &runScript},
};

} // namespace

Suite scriptAdditions() {
    return {COMMANDS, {}};
}

} // namespace ombru::applescript
