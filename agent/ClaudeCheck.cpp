// Whether the tool can be used: recent enough, and signed in.
#include "agent/Claude.h"
#include "base/Text.h"

#include <QDateTime>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace ombru {

using namespace Qt::StringLiterals;

const QStringList Claude::requiredFlags{u"--print"_s,        u"--output-format"_s,        u"--tools"_s,
                                        u"--allowedTools"_s, u"--append-system-prompt"_s, u"--resume"_s};

namespace {

struct FlagCheck {
    QString binary;
    QDateTime modified;
    QStringList missing;
};

// The last one; on the main thread only.
std::optional<FlagCheck> &flagCheck() {
    static std::optional<FlagCheck> last;
    return last;
}

Claude::State signInState(const QString &answer) {
    const auto object = QJsonDocument::fromJson(answer.toUtf8()).object();
    const auto loggedIn = object.value(u"loggedIn"_s);
    if (!loggedIn.isBool())
        return Claude::Unknown{};
    if (!loggedIn.toBool())
        return Claude::SignedOut{};
    return Claude::Ready{object.value(u"email"_s).toString()};
}

} // namespace

Task<std::optional<QString>> Claude::runQuick(QString binary, QStringList arguments, Clock::Duration limit,
                                              std::stop_token stop) {
    const auto process = Process::make({.program = binary,
                                        .arguments = std::move(arguments),
                                        .environment = toolEnvironment(),
                                        .outputLimit = QUICK_OUTPUT});
    const auto answer = co_await collectWithin(process, limit, std::move(stop));
    if (!answer)
        co_return std::nullopt;
    co_return repairedUtf8(answer->out);
}

Task<QStringList> Claude::missingFlags(QString binary, std::stop_token stop) {
    const auto modified = QFileInfo(binary).lastModified();
    if (const auto &last = flagCheck(); last && last->binary == binary && last->modified == modified)
        co_return last->missing;
    const auto help = co_await runQuick(binary, {u"--help"_s}, QUICK, stop);
    QStringList missing;
    for (const auto &flag : requiredFlags)
        if (!help || !help->contains(flag))
            missing.append(flag);
    // A check that was called off says nothing about the tool.
    if (!stop.stop_requested())
        flagCheck() = FlagCheck{binary, modified, missing};
    co_return missing;
}

Task<Claude::State> Claude::check(std::stop_token stop) {
    const auto binary = co_await findBinary(stop);
    if (!binary)
        co_return Missing{};
    const auto missing = co_await missingFlags(*binary, stop);
    if (!missing.isEmpty())
        co_return Outdated{missing};
    const auto answer = co_await runQuick(*binary, {u"auth"_s, u"status"_s, u"--json"_s}, QUICK, stop);
    co_return answer ? signInState(*answer) : Unknown{};
}

} // namespace ombru
