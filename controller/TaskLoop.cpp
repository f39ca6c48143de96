// The loop itself: screenshot, question, script, result, next turn.

#include "controller/TaskLoop.h"

#include "agent/InputRelease.h"
#include "base/Background.h"
#include "base/Text.h"
#include "controller/Prompts.h"
#include "controller/TaskText.h"
#include "controller/WorkDirectory.h"
#include "notifier/Notifier.h"
#include "platform/SystemLog.h"

#include <QFileInfo>

#include <algorithm>
#include <atomic>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Outcome = TaskResult::Outcome;

namespace {

constexpr Clock::Duration LOCKING = 15s; // for a display that does not answer

} // namespace

TaskLoop::TaskLoop(const Settings &settings, std::function<QString()> systemPrompt,
                   std::unique_ptr<TaskReports> reports)
    : m_settings(settings), m_systemPrompt(std::move(systemPrompt)), m_reports(std::move(reports)) {}

bool TaskLoop::start(TaskRequest request) {
    if (m_progress.busy)
        return false;
    m_stop = {}; // no earlier: it may be the running task's
    m_scriptRefused = false;
    m_blocked.clear();
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
    announce(request);
    const auto attempt = co_await work(u"USER TASK: "_s + request.task + (request.remote ? PHONE_NOTE : QString()));
    // Whatever was under way when the owner stopped it.
    if (isCancelled())
        co_await releaseHeldInput();
    finish(resultOf(attempt), request.remote);
}

void TaskLoop::announce(const TaskRequest &request) {
    const auto &[task, from, label, remote] = request;
    if (from)
        m_reports->emit(u"☎ "_s + *from + u" ❯ "_s + task, EventKind::call);
    else
        m_reports->emit(label.value_or(u"you ❯ "_s) + task, EventKind::user);
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
        m_reports->emit(u"✗ couldn't find the claude CLI (install Claude Code)"_s, EventKind::bad);
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
    if (!locked) {
        logger::error(u"desktop: the display does not answer"_s);
        co_return std::unexpected(Screen::captureFailure());
    }
    if (!*locked)
        co_return std::unexpected(locked->error());
    if (!**locked)
        co_return std::unexpected(DesktopInUse{});
    m_desktop = **locked;
    co_return {};
}

Task<TaskLoop::Attempt<TaskLoop::Turn>> TaskLoop::takeTurn(QString binary, QString head, Clock::Time started) {
    m_reports->emit(u"── step %1/%2 "_s.arg(m_progress.step).arg(m_settings.maxSteps()) + QString(40, u'─'),
                    EventKind::rule);
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
    if (!split->script)
        co_return Turn{finalAnswer(*reply, started), {}};
    co_return co_await act(*split->script, split->prose);
}

Task<TaskLoop::Attempt<Screen::Shot>> TaskLoop::look() {
    const auto shot =
        co_await Screen::capture(workDirectory() + u"/screenshots"_s, m_progress.step, m_stop.get_token());
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!shot)
        co_return std::unexpected(shot.error());
    m_reports->emit(u"screenshot "_s + QFileInfo(shot->file).fileName(), EventKind::dim);
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
        m_sessionID = reply->sessionID;
    m_reports->emit(u"replied in %1s"_s.arg(secondsText(Clock::secondsSince(started))), EventKind::dim);
    co_return reply->text;
}

Task<TaskLoop::Attempt<TaskLoop::Turn>> TaskLoop::act(QString script, QString prose) {
    announceScript(script, prose);
    const auto refusals = co_await AppAutomation::notAllowed(script, m_stop.get_token());
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!refusals.empty())
        co_return refuseScript(refusals);
    co_return co_await runScript(script);
}

void TaskLoop::announceScript(const QString &script, const QString &prose) {
    QString label = u"Running an AppleScript"_s;
    if (!prose.isEmpty()) {
        m_reports->emit(u"claude: "_s + prose, EventKind::claude);
        label = plainStep(prose);
    }
    m_headline = label;
    Notifier::update(u"Step %1"_s.arg(m_progress.step), label, true);
    m_reports->emit(u"script:\n"_s + script, EventKind::code);
}

// The script is not run: the next turn hears why.
TaskLoop::Turn TaskLoop::refuseScript(const std::vector<AppAutomation::Refusal> &refusals) {
    QStringList list;
    for (const auto &refusal : refusals) {
        list.append(refusal.target.name);
        block(refusal.target);
    }
    const auto names = list.join(u", "_s);
    const auto advice = automationAdvice(std::ranges::any_of(refusals, &AppAutomation::Refusal::denied));
    m_reports->emit(u"✗ "_s + names + u" hasn't been allowed yet — "_s + advice + u", then try again."_s,
                    EventKind::bad);
    m_reports->showStatus(names + u" not allowed yet"_s);
    Notifier::update(names + u" isn't allowed yet"_s, u"Allow it from the ombru menu bar, then try again."_s, false);
    return {{}, refusedHead(names, advice)};
}

Task<TaskLoop::Attempt<TaskLoop::Turn>> TaskLoop::runScript(QString script) {
    m_reports->showStatus(u"running script (step %1)"_s.arg(m_progress.step));
    m_reports->showActivity(u"Step %1 · running…"_s.arg(m_progress.step));
    const auto started = Clock::now();
    auto result = co_await AppleScriptRunner::run(script, m_settings.scriptTimeout(), m_scriptRun);
    tellLeft(u"the script"_s, result.left);
    const double seconds = Clock::secondsSince(started);
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!result.ok && isAutomationRefusal(result.text)) {
        co_await noteBlocked(refusedApplications(result.text));
        if (isCancelled())
            co_return std::unexpected(Cancelled{});
        noteRefusal(result.text);
    }
    reportScript(result.ok, result.text, seconds);
    co_await sleep(Clock::seconds(m_settings.settle()), m_stop.get_token());
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    co_return Turn{{}, resultHead(result.ok, result.text)};
}

void TaskLoop::tellLeft(const QString &by, const QStringList &left) {
    if (!left.isEmpty())
        m_reports->emit(u"left running by %1: "_s.arg(by) + left.join(u", "_s), EventKind::dim);
}

// The owner finds them where permissions are given.
Task<> TaskLoop::noteBlocked(QStringList names) {
    for (const QString &name : names) {
        const auto id = co_await AppAutomation::bundleID(name, m_stop.get_token());
        if (isCancelled())
            co_return;
        if (id)
            block({*id, name});
    }
}

void TaskLoop::block(const AppAutomation::Target &target) {
    if (!m_blocked.contains(target))
        m_blocked.append(target);
    m_reports->blocked(target);
}

// The system did not let the script control an application: the next turn hears what the owner can do.
void TaskLoop::noteRefusal(QString &output) {
    m_scriptRefused = true;
    output += u"\n(macOS hasn't allowed ombru to control this app — the user can allow it in the ombru menu bar "
              u"or System Settings → Privacy & Security → Automation.)"_s;
    m_reports->emit(u"✗ an app in this script isn't allowed yet — allow it from the ombru menu bar"_s, EventKind::bad);
}

void TaskLoop::reportScript(bool ok, const QString &output, double seconds) {
    const auto line = (ok ? u"✓ script ok"_s : u"✗ script failed"_s) + u" (%1s): "_s.arg(secondsText(seconds)) + output;
    m_reports->emit(line, ok ? EventKind::result : EventKind::bad);
    if (!ok)
        Notifier::update(u"That didn't work — trying another way"_s, errorHeadline(output), true);
}

std::optional<TaskResult> TaskLoop::outOfSteps() {
    const int most = m_settings.maxSteps();
    if (m_progress.step < most)
        return {};
    m_reports->emit(u"── hit max steps (%1) — type a follow-up to continue"_s.arg(most), EventKind::warn);
    m_reports->showStatus(u"hit max steps (%1)"_s.arg(most));
    return TaskResult{Outcome::outOfSteps, u"I ran out of steps before finishing. Tell me how to continue."_s};
}

TaskResult TaskLoop::finalAnswer(const QString &reply, Clock::Time started) {
    const auto final = readFinalReply(reply);
    m_reports->emit((final.done ? u"✓ "_s : u"claude: "_s) + final.shown,
                    final.done ? EventKind::good : EventKind::claude);
    m_reports->emit(u"finished in %1 step%2 · %3s"_s.arg(m_progress.step)
                        .arg(m_progress.step == 1 ? QString() : u"s"_s)
                        .arg(QString::number(Clock::secondsSince(started), 'f', 0)),
                    EventKind::dim);
    m_reports->showStatus((final.done ? u"✓ "_s : QString()) + firstLine(final.shown));
    return {Outcome::answered, final.answer};
}

TaskResult TaskLoop::resultOf(const Attempt<TaskResult> &attempt) {
    if (attempt)
        return *attempt;
    if (const auto *failure = std::get_if<Failure>(&attempt.error()))
        return failed(failure->description, Outcome::failed);
    if (std::holds_alternative<DesktopInUse>(attempt.error()))
        return failed(desktopInUseText(), Outcome::desktopInUse);
    m_reports->emit(u"cancelled"_s, EventKind::warn);
    m_reports->showStatus(u"cancelled"_s);
    return {Outcome::cancelled, u"Okay, stopped."_s};
}

TaskResult TaskLoop::failed(const QString &description, Outcome outcome) {
    const auto line = u"✗ "_s + description;
    m_reports->emit(line, EventKind::bad);
    m_reports->showStatus(line);
    return {outcome, u"Sorry, something went wrong on the computer."_s};
}

// Everything of the task is over before others hear of it: they may start the next one at once.
void TaskLoop::finish(const TaskResult &result, const std::function<void(QString)> &remote) {
    m_claudeCall.reset();
    m_scriptRun.reset();
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
