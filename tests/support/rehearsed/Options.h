// The command line of the `claude` tool as far as it is asked here, refused in its words where it is not understood.
#pragma once
#include "base/Failure.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace ombru::rehearsed {

struct Options {
    enum class Action { Print, Help, Version, AuthStatus, SignIn, Update };
    Action action = Action::Print;
    bool json = false; // the answer as a JSON object
    QString prompt;
    QStringList tools; // those that exist and that need no permission
    std::optional<QString> resume;
    QString systemPrompt;
    QString model;
};

// `without` lists options that this tool is too old for.
Result<Options> parseOptions(const QStringList &arguments, const QStringList &without);

// The help text, without those.
QString helpText(const QStringList &without);

} // namespace ombru::rehearsed
