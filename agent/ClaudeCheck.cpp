// Whether the tool can be used: recent enough, and signed in.
#include "agent/Claude.h"
#include "agent/ToolTrouble.h"
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
    QString trouble; // why its help does not tell; empty when it does
};

// The last one; on the main thread only.
std::optional<FlagCheck> &flagCheck() {
    static std::optional<FlagCheck> last;
    return last;
}

Claude::State signInState(const QString &binary, const Collected &answer) {
    const auto object = QJsonDocument::fromJson(repairedUtf8(answer.out).toUtf8()).object();
    const auto loggedIn = object.value(u"loggedIn"_s);
    if (!loggedIn.isBool())
        return Claude::Unknown{answerTrouble(binary, answer, u"whether it is signed in"_s)};
    if (!loggedIn.toBool())
        return Claude::SignedOut{};
    return Claude::Ready{object.value(u"email"_s).toString()};
}

// What the tool answers; it is ended when the limit passes or the stop is asked for.
Task<Result<Collected>> answerOf(QString binary, QStringList arguments, Clock::Duration limit, std::stop_token stop) {
    const auto process = Process::make({.program = binary,
                                        .arguments = std::move(arguments),
                                        .environment = Claude::toolEnvironment(binary),
                                        .outputLimit = Claude::QUICK_OUTPUT});
    co_return co_await collectWithin(process, limit, std::move(stop));
}

FlagCheck checkOf(const QString &binary, const QDateTime &modified, const Result<Collected> &help) {
    FlagCheck result{binary, modified, {}, {}};
    const auto text = help ? repairedUtf8(help->out) : QString();
    for (const auto &flag : Claude::requiredFlags)
        if (!text.contains(flag))
            result.missing.append(flag);
    // One that is too old knows some of them.
    if (!help)
        result.trouble = startTrouble(binary, help.error());
    else if (result.missing == Claude::requiredFlags)
        result.trouble = answerTrouble(binary, *help, u"its help"_s);
    return result;
}

Task<FlagCheck> checkFlags(QString binary, std::stop_token stop) {
    const auto modified = QFileInfo(binary).lastModified();
    if (const auto &last = flagCheck(); last && last->binary == binary && last->modified == modified)
        co_return *last;
    const auto checked = checkOf(binary, modified, co_await answerOf(binary, {u"--help"_s}, Claude::QUICK, stop));
    // A check that was called off says nothing about the tool.
    if (!stop.stop_requested())
        flagCheck() = checked;
    co_return checked;
}

} // namespace

Task<std::optional<QString>> Claude::runQuick(QString binary, QStringList arguments, Clock::Duration limit,
                                              std::stop_token stop) {
    const auto answer = co_await answerOf(std::move(binary), std::move(arguments), limit, std::move(stop));
    if (!answer)
        co_return std::nullopt;
    co_return repairedUtf8(answer->out);
}

Task<QStringList> Claude::missingFlags(QString binary, std::stop_token stop) {
    co_return (co_await checkFlags(std::move(binary), std::move(stop))).missing;
}

Task<Claude::State> Claude::check(std::stop_token stop) {
    const auto binary = co_await findBinary(stop);
    if (!binary)
        co_return Missing{whyNotFound()};
    const auto flags = co_await checkFlags(*binary, stop);
    if (!flags.missing.isEmpty())
        co_return Outdated{flags.missing, flags.trouble};
    const auto answer = co_await answerOf(*binary, {u"auth"_s, u"status"_s, u"--json"_s}, QUICK, stop);
    if (!answer)
        co_return Unknown{startTrouble(*binary, answer.error())};
    co_return signInState(*binary, *answer);
}

} // namespace ombru
