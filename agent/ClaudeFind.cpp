// Finding the tool.
#include "agent/Claude.h"
#include "base/Text.h"
#include "platform/OwnerShell.h"

#include <QDir>
#include <QFileInfo>

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

} // namespace

QStringList Claude::usualPlaces() {
    const auto home = QDir::homePath();
    return {home + u"/.local/bin/claude"_s, home + u"/.claude/local/claude"_s,   u"/opt/homebrew/bin/claude"_s,
            u"/usr/local/bin/claude"_s,     home + u"/.npm-global/bin/claude"_s, home + u"/.bun/bin/claude"_s};
}

Environment Claude::toolEnvironment() {
    auto result = ownEnvironment();
    result.insert_or_assign("PATH",
                            QDir::homePath().toUtf8() + "/.local/bin:/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin");
    return result;
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
    const auto process = Process::make({.program = shell.program,
                                        .arguments = {u"-ilc"_s, shell.where + u" claude"_s},
                                        .outputLimit = QUICK_OUTPUT,
                                        .grace = SHELL_GRACE});
    const auto answer = co_await collectWithin(process, LOOKUP, std::move(stop));
    if (!answer)
        co_return std::nullopt;
    // The owner's own start files may print something first.
    const auto path = lastLine(repairedUtf8(answer->out).trimmed());
    co_return path.startsWith(u'/') && isExecutableFile(path) ? std::optional(path) : std::nullopt;
}

} // namespace ombru
