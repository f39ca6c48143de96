#include "platform/linux/ConsentPrompt.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <sys/wait.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

bool hasDisplay(const Environment &environment) {
    return std::ranges::any_of(std::array{"DISPLAY", "WAYLAND_DISPLAY"}, [&](const char *name) {
        const auto variable = environment.find(name);
        return variable != environment.end() && !variable->second.isEmpty();
    });
}

} // namespace

Result<int> runApart(const QStringList &words) {
    const auto pid =
        spawn({.program = words.first(), .arguments = words.sliced(1), .directory = {}, .environment = {}});
    if (!pid)
        return std::unexpected(pid.error());
    int status = 0;
    while (::waitpid(*pid, &status, 0) < 0) {
        if (errno != EINTR)
            return std::unexpected(processFailure(errno, words.first()));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

ConsentAnswer askForConsent(const ConsentClient &client, const QString &application, const RunToEnd &run) {
    const auto program = QCoreApplication::applicationDirPath() + u"/ombru-consent-prompt"_s;
    const auto environment = client.environment.value_or(ownEnvironment());
    if (!hasDisplay(environment) || !QFileInfo(program).isExecutable())
        return ConsentAnswer::nobodyThere;
    QStringList words{u"/usr/bin/env"_s, u"-i"_s, u"--"_s};
    for (const auto &[name, value] : environment)
        words += QFile::decodeName(name + '=' + value);
    words += {program, u"--client"_s, client.id, u"--application"_s, application};
    const auto status = run(words);
    if (status && *status == 0)
        return ConsentAnswer::allowed;
    return status && *status == 1 ? ConsentAnswer::refused : ConsentAnswer::nobodyThere;
}

} // namespace ombru
