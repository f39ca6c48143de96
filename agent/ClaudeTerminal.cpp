// Installing, updating and signing in, which the owner does in a terminal.
#include "agent/Claude.h"
#include "platform/Workspace.h"

#include <QDir>
#include <QSaveFile>

namespace ombru {

using namespace Qt::StringLiterals;

const QString Claude::installCommand = u"curl -fsSL https://claude.ai/install.sh | bash"_s;
const QString Claude::docsURL = u"https://code.claude.com/docs/en/setup"_s;

namespace {

// In double quotes for the shell.
QString quoted(QString text) {
    for (const auto special : {u'\\', u'"', u'$', u'`'})
        text.replace(special, u"\\"_s + special);
    return u'"' + text + u'"';
}

Result<> writeExecutable(const QString &path, const QString &text) {
    QSaveFile file(path);
    const auto bytes = text.toUtf8();
    constexpr auto ALL = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup | QFile::ExeGroup |
                         QFile::ReadOther | QFile::ExeOther;
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.setPermissions(ALL) ||
        !file.commit())
        return std::unexpected(Failure{u"claude"_s, 1, u"couldn't write "_s + path + u": "_s + file.errorString()});
    return {};
}

// The desktop's own Failure names its command; one of ours gets it here.
Result<> openOrAdvise(const QString &name, const QStringList &lines, const QString &workDir, const QString &typed) {
    auto outcome = Claude::openTerminal(name, lines, workDir);
    if (!outcome && outcome.error().domain == u"claude"_s)
        outcome.error().description += u"; type in a terminal instead: "_s + typed;
    return outcome;
}

Task<Result<>> openWithTool(QString name, QString subcommand, QString workDir, std::stop_token stop) {
    const auto binary = co_await Claude::findBinary(std::move(stop));
    const auto line = quoted(binary.value_or(u"claude"_s)) + u' ' + subcommand;
    co_return openOrAdvise(name, {line}, workDir, line);
}

} // namespace

Result<> Claude::openTerminal(const QString &name, const QStringList &lines, const QString &workDir) {
    const QStringList script = QStringList{u"#!/bin/bash"_s, u"clear"_s} + lines +
                               QStringList{u"echo; echo 'You can close this window and go back to ombru.'"_s};
    QDir().mkpath(workDir);
    const auto path = QDir(workDir).filePath(name + u".command"_s);
    if (const auto written = writeExecutable(path, script.join(u'\n')); !written)
        return written;
    return openInTerminal(path);
}

Result<> Claude::installInTerminal(const QString &workDir) {
    return openOrAdvise(u"install-claude"_s,
                        {u"echo 'Installing Claude Code (the claude command)…'"_s, installCommand + u" || exit 1"_s,
                         u"echo; echo 'Installed. Now sign in to Claude:'"_s,
                         u"\"$HOME/.local/bin/claude\" auth login"_s},
                        workDir, installCommand);
}

Task<Result<>> Claude::updateInTerminal(QString workDir, std::stop_token stop) {
    co_return co_await openWithTool(u"update-claude"_s, u"update"_s, std::move(workDir), std::move(stop));
}

Task<Result<>> Claude::signInInTerminal(QString workDir, std::stop_token stop) {
    co_return co_await openWithTool(u"claude-login"_s, u"auth login"_s, std::move(workDir), std::move(stop));
}

} // namespace ombru
