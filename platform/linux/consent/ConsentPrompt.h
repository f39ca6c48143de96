// Asks the owner whether a program may control another one, in a window of a program of its own that lies beside this
// one. Any thread but the main one.
#pragma once
#include "platform/linux/consent/ConsentClient.h"

#include <QStringList>

#include <chrono>
#include <functional>

namespace ombru {

// Runs a program, given by its full path and its arguments, with this environment to its end while this thread waits;
// gives its exit status, 128 + signal when a signal ended it.
using RunToEnd = std::function<Result<int>(const QStringList &words, const Environment &environment)>;

// In a session of its own, for a program that has signals and children of its own to look after. What runs longer than
// that is killed.
Result<int> runApart(const QStringList &words, const Environment &environment, std::chrono::milliseconds limit);

// The same for as long as an owner may take over an answer.
Result<int> runForOwner(const QStringList &words, const Environment &environment);

enum class ConsentAnswer { allowed, refused, nobodyThere };

// Waits for the answer, which the window's program also records; an earlier answer is taken instead. Nobody is there
// without a display, or without that program, or when no answer comes.
ConsentAnswer askForConsent(const ConsentClient &client, const QString &application, const RunToEnd &run);

// The same, but an earlier refusal is asked about once more.
ConsentAnswer askForConsentAgain(const ConsentClient &client, const QString &application, const RunToEnd &run);

// Whether a refusal is to be forgotten, which the window's program then does: allowed, it is.
ConsentAnswer askToForget(const ConsentClient &client, const QString &application, const RunToEnd &run);

// Whether a program with that environment could show a window.
bool hasDisplay(const Environment &environment);

} // namespace ombru
