// This program, opened again.

#include "platform/Workspace.h"
#include "platform/linux/system/Detached.h"
#include "platform/linux/system/ProcessStat.h"
#include "platform/linux/system/ShellWord.h"

#include <QDir>
#include <QFile>

#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// As this process was given them: the application's own list lacks those that Qt took for itself.
QStringList ownArguments() {
    QFile file(u"/proc/self/cmdline"_s);
    if (!file.open(QFile::ReadOnly))
        return {};
    auto words = QString::fromUtf8(file.readAll()).split(QChar(u'\0'));
    words.removeLast(); // each of them ends with a null
    return words.mid(1);
}

} // namespace

Result<> reopenAfterExit() {
    QStringList command{forShell(processProgram(u"/proc/self"_s))};
    for (const QString &argument : ownArguments())
        command += forShell(argument);
    const auto waiting = u"while kill -0 %1 2>/dev/null; do sleep 0.2; done; exec "_s.arg(::getpid());
    const auto left = startDetached({u"/bin/sh"_s, u"-c"_s, waiting + command.join(u' ')}, QDir::currentPath());
    if (left)
        return left;
    return std::unexpected(
        Failure{u"workspace"_s, left.error().code,
                u"ombru cannot be opened again by itself (%1). Open it by hand."_s.arg(left.error().description)});
}

} // namespace ombru
