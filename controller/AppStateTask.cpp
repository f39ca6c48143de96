// The task loop: screenshot, question, script, result, next turn.

#include "app/Notifier.h"
#include "base/Background.h"
#include "base/Text.h"
#include "controller/AppState.h"
#include "controller/Prompts.h"
#include "controller/TaskText.h"
#include "wire/AgentMessages.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;
using Outcome = TaskResult::Outcome;

void AppState::startTask(const QString &task, const std::optional<QString> &from, const std::optional<QString> &label,
                         const Remote &remote) {
    if (busy)
        return;
    m_cancelled = false;
    m_taskStop = {};
    caller = from;
    setTaskState(true, 0);
    m_tasks.start(runTask(task, from, label, remote));
}

void AppState::cancelTask() {
    m_cancelled = true;
    if (m_claudeCall && m_claudeCall->process)
        m_claudeCall->process->terminate();
    if (m_scriptRun)
        m_scriptRun->cancel();
    m_taskStop.request_stop();
    status = u"cancelling…"_s;
}

void AppState::newSession() {
    m_sessionID.reset();
    emit(u"started a fresh Claude session"_s, EventKind::warn);
}

bool AppState::isCancelled() const {
    return m_cancelled || m_tasks.token().stop_requested();
}

Task<> AppState::runTask(QString task, std::optional<QString> from, std::optional<QString> label, Remote remote) {
    m_claudeCall = std::make_shared<Claude::Call>();
    m_scriptRun = std::make_shared<AppleScriptRunner::Run>();
    const QString head = u"USER TASK: "_s + task + (remote ? PHONE_NOTE : QString());
    if (from)
        emit(u"☎ "_s + *from + u" ❯ "_s + task, EventKind::call);
    else
        emit(label.value_or(u"you ❯ "_s) + task, EventKind::user);
    m_task = from ? u"☎ "_s + *from + u": "_s + task : (label ? u"From the web: "_s : QString()) + task;
    setActivity(from ? u"Request received"_s : label ? u"Text received"_s : u"Task received"_s);

    const auto attempt = co_await work(head);
    finishTask(resultOf(attempt), remote);
}

Task<AppState::Attempt<TaskResult>> AppState::work(QString head) {
    const auto binary = co_await Claude::findBinary(m_taskStop.get_token());
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!binary) {
        emit(u"✗ couldn't find the claude CLI (install Claude Code)"_s, EventKind::bad);
        status = u"claude CLI not found"_s;
        co_return TaskResult{Outcome::failed, u"Sorry, the assistant isn't installed on the computer."_s};
    }
    const auto started = Clock::now();
    sendState();
    for (int number = 1;; ++number) {
        setTaskState(true, number);
        auto turn = co_await takeTurn(*binary, head, started);
        if (!turn)
            co_return std::unexpected(turn.error());
        if (turn->finished)
            co_return *turn->finished;
        if (const auto result = outOfSteps())
            co_return *result;
        head = turn->nextHead;
    }
}

Task<AppState::Attempt<AppState::Turn>> AppState::takeTurn(QString binary, QString head, Clock::Time started) {
    emit(u"── step %1/%2 "_s.arg(step()).arg(settings.maxSteps()) + QString(40, u'─'), EventKind::rule);
    setActivity(step == 1 ? u"Looking at your screen…"_s : u"Step %1 · checking the result…"_s.arg(step()));
    const auto shot = co_await look();
    if (!shot)
        co_return std::unexpected(shot.error());
    status = u"Claude is thinking…"_s;
    setActivity(step == 1 ? u"Figuring out what to do…"_s : u"Step %1 · deciding the next move…"_s.arg(step()));
    // Who heard of the picture may have cancelled.
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    const auto message = turnMessage(head, step, shot->file, shot->size, shot->points);
    const auto reply = co_await ask(binary, message);
    if (!reply)
        co_return std::unexpected(reply.error());
    auto split = co_await background([text = *reply] { return splitReply(text); });
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!split.script)
        co_return Turn{finalAnswer(*reply, started), {}};
    co_return co_await act(*split.script, split.prose);
}

Task<AppState::Attempt<Screen::Shot>> AppState::look() {
    const auto shot = co_await Screen::capture(workDir() + u"/screenshots"_s, step, m_taskStop.get_token());
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!shot)
        co_return std::unexpected(shot.error());
    emit(u"screenshot "_s + QFileInfo(shot->file).fileName(), EventKind::dim);
    if (m_web) {
        const auto preview = co_await Screen::previewJPEG(shot->picture);
        if (isCancelled())
            co_return std::unexpected(Cancelled{});
        if (m_web && preview)
            m_web(toJson(ScreenshotMessage{step, Clock::unixSeconds(), *preview}));
    }
    co_return *shot;
}

Task<AppState::Attempt<QString>> AppState::ask(QString binary, QString message) {
    const auto started = Clock::now();
    const Claude::Question question{binary, message, systemPrompt(), m_sessionID, settings.model(), workDir()};
    const auto reply = co_await Claude::ask(question, m_claudeCall);
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!reply)
        co_return std::unexpected(reply.error());
    m_sessionID = reply->sessionID;
    emit(u"replied in %1s"_s.arg(secondsText(Clock::secondsSince(started))), EventKind::dim);
    co_return reply->text;
}

Task<AppState::Attempt<AppState::Turn>> AppState::act(QString script, QString prose) {
    announceScript(script, prose);
    const auto refusals = co_await AppAutomation::notAllowed(script, m_taskStop.get_token());
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!refusals.empty())
        co_return refuseScript(refusals);
    co_return co_await runScript(script);
}

void AppState::announceScript(const QString &script, const QString &prose) {
    QString label = u"Running an AppleScript"_s;
    if (!prose.isEmpty()) {
        emit(u"claude: "_s + prose, EventKind::claude);
        label = plainStep(prose);
    }
    m_task = label;
    Notifier::update(u"Step %1"_s.arg(step()), label, true);
    emit(u"script:\n"_s + script, EventKind::code);
}

// The script is not run: the next turn hears why.
AppState::Turn AppState::refuseScript(const std::vector<AppAutomation::Refusal> &refusals) {
    QStringList list;
    for (const auto &refusal : refusals) {
        list.append(refusal.target.name);
        if (!blockedApps->contains(refusal.target))
            blockedApps.edit([&](auto &targets) { targets.append(refusal.target); });
    }
    const auto names = list.join(u", "_s);
    const auto advice = automationAdvice(std::ranges::any_of(refusals, &AppAutomation::Refusal::denied));
    emit(u"✗ "_s + names + u" hasn't been allowed yet — "_s + advice + u", then try again."_s, EventKind::bad);
    status = names + u" not allowed yet"_s;
    Notifier::update(names + u" isn't allowed yet"_s, u"Allow it from the ombru menu bar, then try again."_s, false);
    return {{}, refusedHead(names, advice)};
}

Task<AppState::Attempt<AppState::Turn>> AppState::runScript(QString script) {
    status = u"running script (step %1)"_s.arg(step());
    setActivity(u"Step %1 · running…"_s.arg(step()));
    const auto started = Clock::now();
    auto result = co_await AppleScriptRunner::run(script, settings.scriptTimeout(), m_scriptRun);
    const double seconds = Clock::secondsSince(started);
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!result.ok && isAutomationRefusal(result.text)) {
        result.text +=
            u"\n(macOS hasn't allowed ombru to control this app — the user can allow it in the ombru menu bar "
            u"or System Settings → Privacy & Security → Automation.)"_s;
        emit(u"✗ an app in this script isn't allowed yet — allow it from the ombru menu bar"_s, EventKind::bad);
    }
    reportScript(result.ok, result.text, seconds);
    co_await sleep(Clock::seconds(settings.settle()), m_taskStop.get_token());
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    co_return Turn{{}, resultHead(result.ok, result.text)};
}

void AppState::reportScript(bool ok, const QString &output, double seconds) {
    const auto line = (ok ? u"✓ script ok"_s : u"✗ script failed"_s) + u" (%1s): "_s.arg(secondsText(seconds)) + output;
    emit(line, ok ? EventKind::result : EventKind::bad);
    if (!ok)
        Notifier::update(u"That didn't work — trying another way"_s, errorHeadline(output), true);
}

std::optional<TaskResult> AppState::outOfSteps() {
    const int most = settings.maxSteps();
    if (step < most)
        return {};
    emit(u"── hit max steps (%1) — type a follow-up to continue"_s.arg(most), EventKind::warn);
    status = u"hit max steps (%1)"_s.arg(most);
    return TaskResult{Outcome::outOfSteps, u"I ran out of steps before finishing. Tell me how to continue."_s};
}

TaskResult AppState::finalAnswer(const QString &reply, Clock::Time started) {
    const auto final = readFinalReply(reply);
    emit((final.done ? u"✓ "_s : u"claude: "_s) + final.shown, final.done ? EventKind::good : EventKind::claude);
    emit(u"finished in %1 step%2 · %3s"_s.arg(step())
             .arg(step == 1 ? QString() : u"s"_s)
             .arg(QString::number(Clock::secondsSince(started), 'f', 0)),
         EventKind::dim);
    status = (final.done ? u"✓ "_s : QString()) + firstLine(final.shown);
    return {Outcome::answered, final.answer};
}

TaskResult AppState::resultOf(const Attempt<TaskResult> &attempt) {
    if (attempt)
        return *attempt;
    if (const auto *failure = std::get_if<Failure>(&attempt.error())) {
        const auto line = u"✗ "_s + failure->description;
        emit(line, EventKind::bad);
        status = line;
        return {Outcome::failed, u"Sorry, something went wrong on the computer."_s};
    }
    emit(u"cancelled"_s, EventKind::warn);
    status = u"cancelled"_s;
    return {Outcome::cancelled, u"Okay, stopped."_s};
}

void AppState::finishTask(const TaskResult &result, const Remote &remote) {
    setActivity(finishTitle(result.answer), 4, true, result.answer);
    m_cancelled = false;
    m_claudeCall.reset();
    m_scriptRun.reset();
    caller = std::nullopt;
    lastResult = result;
    setTaskState(false, step);
    if (remote) {
        emit(u"☎ spoken reply: "_s + result.answer, EventKind::call);
        remote(result.answer);
    }
}

} // namespace ombru
