// Asks the owner whether a program may control another one, in a window of a program of its own that lies beside this
// one. Any thread but the main one.
#pragma once
#include "platform/linux/ConsentClient.h"

#include <QStringList>

#include <functional>

namespace ombru {

// Runs a program, given by its full path and its arguments, to its end while this thread waits; gives its exit status,
// 128 + signal when a signal ended it.
using RunToEnd = std::function<Result<int>(const QStringList &words)>;

// In a session of its own, for a program that has signals and children of its own to look after.
Result<int> runApart(const QStringList &words);

enum class ConsentAnswer { allowed, refused, nobodyThere };

// Waits for the answer, which the window's program also records. Nobody is there without a display, or without that
// program.
ConsentAnswer askForConsent(const ConsentClient &client, const QString &application, const RunToEnd &run);

} // namespace ombru
