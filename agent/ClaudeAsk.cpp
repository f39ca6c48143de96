// One turn of the conversation, and the smoke test.
#include "agent/Claude.h"
#include "agent/ToolTrouble.h"
#include "base/Text.h"
#include "platform/Keeper.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cerrno>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Failure failure(const QString &description, int code = 1) {
    return {u"claude"_s, code, description};
}

QJsonObject answerObject(const QByteArray &out) {
    return QJsonDocument::fromJson(out).object();
}

QString withoutNul(QString text) {
    return text.replace(QChar(u'\0'), QChar(QChar::ReplacementCharacter));
}

// What the tool said for itself: the first characters of its errors, or else of its output.
QString complaint(const Collected &collected) {
    constexpr qsizetype CHARACTERS = 400;
    // Enough bytes for them, whatever they are; the whole may be many megabytes.
    constexpr qsizetype BYTES = CHARACTERS * 1000;
    const auto &bytes = collected.err.isEmpty() ? collected.out : collected.err;
    if (bytes.isEmpty())
        return u"it ended with status %1 and printed nothing"_s.arg(collected.status);
    return firstCharacters(repairedUtf8(bytes.first(std::min(bytes.size(), BYTES))), CHARACTERS);
}

QString kilobytes(const QString &text) {
    return QString::number((text.toUtf8().size() + 999) / 1000) + u" kB"_s;
}

Failure startFailure(const Failure &why, const Claude::Question &question) {
    if (why.code != E2BIG)
        return failure(u"couldn't run claude: "_s + why.description, why.code);
    const bool prompt = question.prompt.size() >= question.systemPrompt.size();
    return failure((prompt ? u"the message to claude is "_s + kilobytes(question.prompt)
                           : u"the system prompt is "_s + kilobytes(question.systemPrompt)) +
                       u" long, more than this system passes to a program in one piece; shorten it"_s,
                   why.code);
}

// Where the tool's own words do not say it.
QString replyCause(const QString &binary, const Collected &collected) {
    return answerObject(collected.out).value(u"result"_s).isString() ? QString() : replyTrouble(binary, collected);
}

// Where the description does not say it.
QString startCause(const QString &binary, const Failure &why) {
    const auto trouble = startTrouble(binary, why);
    return why.code == E2BIG || trouble == why.description || why.domain == u"run"_s ? QString() : trouble;
}

Process::Command command(const Claude::Question &question) {
    return {.program = question.binary,
            .arguments = Claude::arguments(question),
            .directory = question.workDir,
            .environment = Claude::toolEnvironment(question.binary),
            .afterForcedEnd = inputReleasePath()}; // an earlier script may have left a key down
}

} // namespace

QStringList Claude::arguments(const Question &question) {
    QStringList result{u"-p"_s,
                       withoutNul(question.prompt),
                       u"--output-format"_s,
                       u"json"_s,
                       u"--tools"_s,
                       u"Read"_s,
                       u"--allowedTools"_s,
                       u"Read"_s,
                       u"--append-system-prompt"_s,
                       withoutNul(question.systemPrompt)};
    if (question.sessionID)
        result << u"--resume"_s << *question.sessionID;
    if (!question.model.isEmpty())
        result << u"--model"_s << question.model;
    return result;
}

Result<Claude::Reply> Claude::replyOf(const Collected &collected) {
    const auto answer = answerObject(collected.out);
    const auto result = answer.value(u"result"_s);
    if (result.isString()) {
        // JSON can carry half of a character, which expressions refuse to look at.
        const auto text = QString::fromUtf8(result.toString().toUtf8());
        if (answer.value(u"is_error"_s).toBool())
            return std::unexpected(failure(u"claude error: "_s + text));
        const auto session = answer.value(u"session_id"_s);
        return Reply{text, session.isString() ? std::optional(session.toString()) : std::nullopt};
    }
    return std::unexpected(failure(u"claude failed: "_s + complaint(collected)));
}

Task<std::expected<Claude::Reply, ToolFailure>> Claude::ask(Question question, std::shared_ptr<Call> call) {
    call->process = Process::make(command(question));
    const auto collected = co_await runCollecting(call->process);
    if (!collected)
        co_return std::unexpected(
            ToolFailure{startFailure(collected.error(), question), startCause(question.binary, collected.error())});
    auto reply = replyOf(*collected);
    if (!reply)
        co_return std::unexpected(ToolFailure{reply.error(), replyCause(question.binary, *collected)});
    co_return std::move(*reply);
}

Task<Claude::SmokeTest> Claude::smokeTest(std::stop_token stop) {
    const auto binary = co_await findBinary(stop);
    if (!binary)
        co_return SmokeTest{false, u"✗ claude isn't installed"_s, whyNotFound()};
    const auto start = Clock::now();
    const auto process = Process::make({.program = *binary,
                                        .arguments = {u"-p"_s, u"Reply with exactly: ombru test ok"_s,
                                                      u"--output-format"_s, u"json"_s, u"--tools"_s, QString()},
                                        .environment = toolEnvironment(*binary)});
    const auto collected = co_await collectWithin(process, SMOKE_TEST, stop);
    if (!collected) {
        const auto &why = collected.error();
        const auto what = why.domain == u"process"_s ? u"✗ couldn't start claude: "_s : u"✗ claude -p failed: "_s;
        co_return SmokeTest{false, what + why.description, startCause(*binary, why)};
    }
    if (const auto reply = replyOf(*collected))
        co_return SmokeTest{true, u"✓ claude -p works (%1s): %2"_s.arg(Clock::secondsSince(start), 0, 'f', 1)
                                      .arg(firstCharacters(reply->text, 60))};
    const auto result = answerObject(collected->out).value(u"result"_s);
    co_return SmokeTest{false,
                        u"✗ claude -p failed: "_s + (result.isString() ? result.toString() : complaint(*collected)),
                        replyCause(*binary, *collected)};
}

} // namespace ombru
