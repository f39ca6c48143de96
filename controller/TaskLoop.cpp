// The loop itself: screenshot, question, script, result, next turn. What becomes of a script: TaskLoopScripts.cpp.

#include "controller/TaskLoop.h"

#include "agent/InputRelease.h"
#include "base/Background.h"
#include "base/Text.h"
#include "controller/KeptScreenshots.h"
#include "controller/Prompts.h"
#include "controller/TaskText.h"
#include "controller/WorkDirectory.h"

#include <QFileInfo>

#include <atomic>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Outcome = TaskResult::Outcome;

namespace {

constexpr Clock::Duration LOCKING = 15s; // for a display that does not answer

QString pictures() {
    return workDirectory() + u"/screenshots"_s;
}

} // namespace

TaskLoop::TaskLoop(const Settings &settings, std::function<QString()> systemPrompt,
                   std::unique_ptr<TaskReports> reports)
    : m_settings(settings), m_systemPrompt(std::move(systemPrompt)), m_reports(std::move(reports)) {}

bool TaskLoop::start(TaskRequest request) {
    if (m_progress.busy || m_tasks.token().stop_requested()) // nobody would end what comes with the end
        return false;
    m_stop = {}; // no earlier: it may be the running task's
    m_scriptRefused = false;
    m_blocked.clear();
    m_pictures.clear();
    showProgress({.busy = true});
    m_tasks.start(run(std::move(request)));
    return true;
}

bool TaskLoop::cancel() {
    if (!m_progress.busy)
        return false;
    m_stop.request_stop();
    if (m_claudeCall && m_claudeCall->process)
        m_claudeCall->process->terminate();
    if (m_scriptRun)
        m_scriptRun->cancel();
    showProgress({true, m_progress.step, true});
    return true;
}

void TaskLoop::newSession() {
    m_sessionID.reset();
    ++m_newSessions;
    m_reports->conversationIs({}); // also of one that an earlier process has had
}

void TaskLoop::goOnWith(QString conversation) {
    m_sessionID = std::move(conversation);
}

void TaskLoop::setConversation(std::optional<QString> id) {
    if (id == m_sessionID)
        return;
    m_sessionID = std::move(id);
    m_reports->conversationIs(m_sessionID);
}

Task<> TaskLoop::end() {
    cancel();
    co_await m_tasks.drain();
}

void TaskLoop::showProgress(const TaskProgress &progress) {
    m_progress = progress;
    m_reports->showProgress(progress);
}

Task<> TaskLoop::run(TaskRequest request) {
    m_claudeCall = std::make_shared<Claude::Call>();
    m_scriptRun = std::make_shared<AppleScriptRunner::Run>();
    m_confirm = request.confirm;
    const ReleaseOnDeath watch(m_tasks);
    announce(request);
    const auto attempt = co_await work(u"USER TASK: "_s + request.task + (request.remote ? PHONE_NOTE : QString()));
    // Whatever was under way when the owner stopped it.
    if (isCancelled())
        co_await releaseHeldInput();
    removeOldPictures();
    finish(resultOf(attempt), request.remote);
}

// Nobody waits for a disk that does not answer.
void TaskLoop::removeOldPictures() const {
    runAlone([directory = pictures(), days = m_settings.screenshotDays(), ofTask = m_pictures] {
        removeScreenshots(directory, days, ofTask);
    });
}

void TaskLoop::announce(const TaskRequest &request) {
    const auto &[task, from, label, remote, confirm] = request;
    if (from)
        m_reports->emit(u"☎ "_s + *from + u" ❯ "_s + task, EventKind::call, TaskBegun{task});
    else
        m_reports->emit(label.value_or(u"you ❯ "_s) + task, EventKind::user, TaskBegun{task});
    m_headline = from ? u"☎ "_s + *from + u": "_s + task : (label ? u"From the web: "_s : QString()) + task;
    m_reports->showActivity(from ? u"Request received"_s : label ? u"Text received"_s : u"Task received"_s);
}

Task<TaskLoop::Attempt<TaskResult>> TaskLoop::work(QString head) {
    if (const auto locked = co_await lockTheDesktop(); !locked)
        co_return std::unexpected(locked.error());
    const auto binary = co_await Claude::findBinary(m_stop.get_token());
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!binary) {
        const auto missing = u"couldn't find the claude CLI (install Claude Code)"_s;
        m_reports->emit(u"✗ "_s + missing, EventKind::bad, TaskFailed{missing});
        tellCause(Claude::whyNotFound());
        m_reports->showStatus(u"claude CLI not found"_s);
        co_return TaskResult{Outcome::failed, u"Sorry, the assistant isn't installed on the computer."_s};
    }
    const auto started = Clock::now();
    m_reports->sendState();
    for (int number = 1;; ++number) {
        showProgress({true, number, m_progress.cancelling});
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

Task<TaskLoop::Attempt<>> TaskLoop::lockTheDesktop() {
    // A lock that comes too late must not keep the next task out.
    const auto wanted = std::make_shared<std::atomic<bool>>(true);
    const auto locked = co_await backgroundWithin(LOCKING, m_stop.get_token(), [wanted] {
        auto lock = lockDesktop();
        if (!*wanted)
            lock = std::nullopt;
        return lock;
    });
    *wanted = false;
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!locked)
        co_return std::unexpected(Screen::captureFailure(Screen::silentDisplay()));
    if (!*locked)
        co_return std::unexpected(ToolFailure{locked->error()});
    if (!**locked)
        co_return std::unexpected(DesktopInUse{});
    m_desktop = **locked;
    co_return {};
}

Task<TaskLoop::Attempt<TaskLoop::Turn>> TaskLoop::takeTurn(QString binary, QString head, Clock::Time started) {
    m_reports->emit(u"── step %1/%2 "_s.arg(m_progress.step).arg(m_settings.maxSteps()) + QString(40, u'─'),
                    EventKind::rule, StepBegun{m_progress.step, m_settings.maxSteps()});
    m_reports->showActivity(m_progress.step == 1 ? u"Looking at your screen…"_s
                                                 : u"Step %1 · checking the result…"_s.arg(m_progress.step));
    const auto shot = co_await look();
    if (!shot)
        co_return std::unexpected(shot.error());
    m_reports->showStatus(u"Claude is thinking…"_s);
    m_reports->showActivity(m_progress.step == 1 ? u"Figuring out what to do…"_s
                                                 : u"Step %1 · deciding the next move…"_s.arg(m_progress.step));
    // Who heard of the picture may have cancelled.
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    const auto message = turnMessage(head, m_progress.step, shot->file, shot->size, shot->points);
    const auto reply = co_await ask(binary, message);
    if (!reply)
        co_return std::unexpected(reply.error());
    auto split = co_await backgroundUntil(m_stop.get_token(), [text = *reply] { return splitReply(text); });
    if (isCancelled() || !split)
        co_return std::unexpected(Cancelled{});
    if (split->script)
        co_return co_await act(*split);
    tellNotRun(*split);
    co_return Turn{finalAnswer(*reply, started), {}};
}

Task<TaskLoop::Attempt<Screen::Shot>> TaskLoop::look() {
    const auto shot = co_await Screen::capture(pictures(), m_progress.step, m_stop.get_token());
    if (shot)
        m_pictures.append(shot->file);
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!shot)
        co_return std::unexpected(shot.error());
    m_reports->emit(u"screenshot "_s + QFileInfo(shot->file).fileName(), EventKind::dim, ScreenSeen{shot->file});
    if (m_reports->wantsPictures()) {
        const auto preview = co_await Screen::previewJPEG(shot->picture, Screen::previewSide, Screen::previewQuality,
                                                          m_stop.get_token());
        if (isCancelled())
            co_return std::unexpected(Cancelled{});
        if (preview)
            m_reports->showPicture(m_progress.step, *preview);
    }
    co_return *shot;
}

Task<TaskLoop::Attempt<QString>> TaskLoop::ask(QString binary, QString message) {
    const auto started = Clock::now();
    const Claude::Question question{binary,         message, m_systemPrompt(), m_sessionID, m_settings.model(),
                                    workDirectory()};
    const auto conversation = m_newSessions;
    const auto reply = co_await Claude::ask(question, m_claudeCall);
    tellLeft(u"claude"_s, m_claudeCall->process->left());
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!reply)
        co_return std::unexpected(reply.error());
    // A new conversation that the owner asked for meanwhile stays new.
    if (conversation == m_newSessions)
        setConversation(reply->sessionID);
    const double seconds = Clock::secondsSince(started);
    m_reports->emit(u"replied in %1s"_s.arg(secondsText(seconds)), EventKind::dim, AgentReplied{seconds, m_sessionID});
    co_return reply->text;
}

std::optional<TaskResult> TaskLoop::outOfSteps() {
    const int most = m_settings.maxSteps();
    if (m_progress.step < most)
        return {};
    m_reports->emit(u"── hit max steps (%1) — type a follow-up to continue"_s.arg(most), EventKind::warn, ToldAtEnd{});
    m_reports->showStatus(u"hit max steps (%1)"_s.arg(most));
    return TaskResult{Outcome::outOfSteps, u"I ran out of steps before finishing. Tell me how to continue."_s};
}

TaskResult TaskLoop::finalAnswer(const QString &reply, Clock::Time started) {
    const auto final = readFinalReply(reply);
    m_reports->emit((final.done ? u"✓ "_s : u"claude: "_s) + final.shown,
                    final.done ? EventKind::good : EventKind::claude, ToldAtEnd{});
    m_reports->emit(u"finished in %1 step%2 · %3s"_s.arg(m_progress.step)
                        .arg(m_progress.step == 1 ? QString() : u"s"_s)
                        .arg(QString::number(Clock::secondsSince(started), 'f', 0)),
                    EventKind::dim, ToldAtEnd{});
    m_reports->showStatus((final.done ? u"✓ "_s : QString()) + firstLine(final.shown));
    return {final.done ? Outcome::done : Outcome::answered, final.answer};
}

TaskResult TaskLoop::resultOf(const Attempt<TaskResult> &attempt) {
    if (attempt)
        return *attempt;
    if (const auto *failure = std::get_if<ToolFailure>(&attempt.error()))
        return failed(*failure, Outcome::failed);
    if (std::holds_alternative<DesktopInUse>(attempt.error()))
        return failed({{u"desktop"_s, 1, desktopInUseText()}}, Outcome::desktopInUse);
    m_reports->emit(u"cancelled"_s, EventKind::warn, ToldAtEnd{});
    m_reports->showStatus(u"cancelled"_s);
    return {Outcome::cancelled, u"Okay, stopped."_s};
}

// For the owner alone: what is so, under the line that is the same everywhere.
void TaskLoop::tellCause(const QString &cause) {
    if (!cause.isEmpty())
        m_reports->emit(cause, EventKind::warn);
}

TaskResult TaskLoop::failed(const ToolFailure &failure, Outcome outcome) {
    const auto line = u"✗ "_s + failure.description;
    const bool inUse = outcome == Outcome::desktopInUse; // then the result says why
    m_reports->emit(line, EventKind::bad, inUse ? TaskFact(ToldAtEnd{}) : TaskFact(TaskFailed{failure.description}));
    tellCause(failure.cause);
    m_reports->showStatus(line);
    return {outcome, u"Sorry, something went wrong on the computer."_s};
}

// Everything of the task is over before others hear of it: they may start the next one at once.
void TaskLoop::finish(const TaskResult &result, const std::function<void(QString)> &remote) {
    m_claudeCall.reset();
    m_scriptRun.reset();
    m_confirm = {};
    m_desktop.reset();
    auto told = result;
    told.scriptRefused = m_scriptRefused;
    told.blocked = m_blocked;
    m_reports->ended(told);
    showProgress({false, m_progress.step, false});
    if (remote) {
        m_reports->emit(u"☎ spoken reply: "_s + result.answer, EventKind::call);
        remote(result.answer);
    }
}

} // namespace ombru
