#include "platform/linux/consent/ConsentPrompt.h"

#include "base/ChildExit.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <cerrno>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::minutes ANSWERING(10);

ConsentAnswer show(const ConsentClient &client, const QStringList &question, const RunToEnd &run) {
    const auto program = QCoreApplication::applicationDirPath() + u"/ombru-consent-prompt"_s;
    const auto environment = client.environment.value_or(ownEnvironment());
    if (!hasDisplay(environment) || !QFileInfo(program).isExecutable())
        return ConsentAnswer::nobodyThere;
    const auto status = run(QStringList{program} + question, environment);
    if (status && *status == 0)
        return ConsentAnswer::allowed;
    return status && *status == 1 ? ConsentAnswer::refused : ConsentAnswer::nobodyThere;
}

QStringList questionAbout(const ConsentClient &client, const QString &application) {
    return {u"--client"_s, client.id, u"--application"_s, application};
}

} // namespace

bool hasDisplay(const Environment &environment) {
    return std::ranges::any_of(std::array{"DISPLAY", "WAYLAND_DISPLAY"}, [&](const char *name) {
        const auto variable = environment.find(name);
        return variable != environment.end() && !variable->second.isEmpty();
    });
}

Result<int> runApart(const QStringList &words, const Environment &environment, std::chrono::milliseconds limit) {
    const auto pid =
        spawn({.program = words.first(), .arguments = words.sliced(1), .directory = {}, .environment = environment});
    if (!pid)
        return std::unexpected(pid.error());
    const auto ended = watchExit(*pid, words.first());
    if (!ended || !endsWithin(*ended, limit))
        ::kill(*pid, SIGKILL);
    int status = 0;
    while (::waitpid(*pid, &status, 0) < 0) {
        if (errno != EINTR)
            return std::unexpected(processFailure(errno, words.first()));
    }
    if (!ended)
        return std::unexpected(ended.error());
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

Result<int> runForOwner(const QStringList &words, const Environment &environment) {
    return runApart(words, environment, ANSWERING);
}

ConsentAnswer askForConsent(const ConsentClient &client, const QString &application, const RunToEnd &run) {
    return show(client, questionAbout(client, application), run);
}

ConsentAnswer askForConsentAgain(const ConsentClient &client, const QString &application, const RunToEnd &run) {
    return show(client, questionAbout(client, application) + QStringList{u"--again"_s}, run);
}

ConsentAnswer askToForget(const ConsentClient &client, const QString &application, const RunToEnd &run) {
    return show(client, questionAbout(client, application) + QStringList{u"--forget"_s}, run);
}

} // namespace ombru
