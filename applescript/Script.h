// The language from outside: text becomes a Script, a Script runs against a Host. Start reading here, then Parser.h,
// Ast.h and Interpreter.h.
//
// Thread: any one thread; run blocks it. A result is only good inside the HeapScope that the caller opened.
#pragma once
#include "applescript/values/Source.h"
#include "applescript/values/Value.h"

#include <QStringList>

#include <expected>
#include <memory>

namespace ombru::applescript {

class Host;
struct ScriptDefinition;

struct Script {
    QString text;
    std::shared_ptr<const ScriptDefinition> definition;
};

struct Diagnostic {
    Range range; // in characters of the script
    QString message;
    int number = 0;
};

std::expected<Script, Diagnostic> compile(const QString &text);

// `arguments` are what `on run argv` gets. Nothing when the script has no result.
std::expected<Value, Diagnostic> run(const Script &script, Host &host, const QStringList &arguments);

} // namespace ombru::applescript
