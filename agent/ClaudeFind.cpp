// Finding the tool.
#include "agent/Claude.h"
#include "agent/ToolTrouble.h"
#include "base/Text.h"
#include "platform/OwnerShell.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

#include <cerrno>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds SHELL_GRACE(200); // an interactive one does not hear that it is to end

bool isExecutableFile(const QString &path) {
    const QFileInfo file(path);
    return file.isFile() && file.isExecutable();
}

QString lastLine(const QString &text) {
    return text.sliced(text.lastIndexOf(u'\n') + 1);
}

// What the owner's shell has found last, and the PATH that it found it in; the main thread's.
struct ShellFind {
    QString binary;
    QByteArray path;
};
ShellFind &shellFind() {
    static ShellFind last;
    return last;
}

Task<std::optional<QString>> askShell(QString command, std::stop_token stop) {
    const auto process = Process::make({.program = ownerShell().program,
                                        .arguments = {u"-ilc"_s, command},
                                        .outputLimit = Claude::QUICK_OUTPUT,
                                        .grace = SHELL_GRACE});
    const auto answer = co_await collectWithin(process, Claude::LOOKUP, std::move(stop));
    if (!answer)
        co_return std::nullopt;
    // The owner's own start files may print something first.
    co_return lastLine(repairedUtf8(answer->out).trimmed());
}

Task<> rememberPath(QString binary, std::stop_token stop) {
    if (shellFind().binary == binary)
        co_return;
    const auto path = co_await askShell(u"/usr/bin/printenv PATH"_s, std::move(stop));
    if (path)
        shellFind() = {binary, path->toUtf8()};
}

} // namespace

// It makes one directory's name of the whole path, without links in it.
QString Claude::conversationsPath(const QString &workDir) {
    static const QRegularExpression other(u"[^A-Za-z0-9]"_s);
    const auto own = qEnvironmentVariable("CLAUDE_CONFIG_DIR", QDir::homePath() + u"/.claude"_s);
    const auto canonical = QFileInfo(workDir).canonicalFilePath();
    return own + u"/projects/"_s + QString(canonical.isEmpty() ? workDir : canonical).replace(other, u"-"_s);
}

QStringList Claude::usualPlaces() {
    const auto home = QDir::homePath();
    return {home + u"/.local/bin/claude"_s, home + u"/.claude/local/claude"_s,   u"/opt/homebrew/bin/claude"_s,
            u"/usr/local/bin/claude"_s,     home + u"/.npm-global/bin/claude"_s, home + u"/.bun/bin/claude"_s};
}

Environment Claude::toolEnvironment(const QString &binary) {
    auto result = ownEnvironment();
    const auto usual = QDir::homePath().toUtf8() + "/.local/bin:/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin";
    const auto &found = shellFind();
    result.insert_or_assign("PATH", found.binary == binary && !found.path.isEmpty() ? found.path : usual);
    return result;
}

QString Claude::whyNotFound() {
    for (const auto &path : usualPlaces()) {
        const QFileInfo file(path);
        if (file.isSymLink() && !file.exists())
            return u"%1 leads to %2, which is not there. Install claude again."_s.arg(path, file.symLinkTarget());
        if (file.isFile())
            return startTrouble(path, {u"process"_s, EACCES, {}});
    }
    return {};
}

Task<std::optional<QString>> Claude::findBinary(std::stop_token stop) {
    for (const auto &path : usualPlaces())
        if (isExecutableFile(path))
            co_return path;
    co_return co_await shellLookup(std::move(stop));
}

Task<std::optional<QString>> Claude::shellLookup(std::stop_token stop) {
    const auto shell = ownerShell();
    if (shell.program.isEmpty())
        co_return std::nullopt;
    const auto path = co_await askShell(shell.where + u" claude"_s, stop);
    if (!path || !path->startsWith(u'/') || !isExecutableFile(*path))
        co_return std::nullopt;
    co_await rememberPath(*path, stop);
    co_return path;
}

} // namespace ombru
