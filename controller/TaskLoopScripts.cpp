// What becomes of the agent's script: asked about, refused, run, told.

#include "base/Text.h"
#include "controller/TaskLoop.h"
#include "controller/TaskText.h"
#include "notifier/Notifier.h"

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LONGEST_NAME = 255;

} // namespace

Task<TaskLoop::Attempt<TaskLoop::Turn>> TaskLoop::act(SplitReply reply) {
    const auto script = reply.script.value_or(QString());
    announceScript(script, reply.prose);
    tellNotRun(reply);
    auto skipped = co_await askOwner();
    if (!skipped)
        co_return std::unexpected(skipped.error());
    if (*skipped)
        co_return **skipped;
    const auto refusals = co_await AppAutomation::notAllowed(script, m_stop.get_token());
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (!refusals.empty())
        co_return refuseScript(refusals);
    co_return co_await runScript(script);
}

// Before anything else is made of the script: looking at its applications starts them.
Task<TaskLoop::Attempt<std::optional<TaskLoop::Turn>>> TaskLoop::askOwner() {
    using enum ScriptDecision::Choice;
    if (!m_confirm)
        co_return std::nullopt;
    m_reports->showStatus(u"asking about the script (step %1)"_s.arg(m_progress.step));
    const auto decision = co_await m_confirm(m_stop.get_token());
    if (decision.choice == stop)
        cancel();
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    if (decision.choice == run)
        co_return std::nullopt;
    m_reports->emit(u"skipped by its owner"_s + (decision.word.isEmpty() ? QString() : u": "_s + decision.word),
                    EventKind::warn);
    co_return Turn{{}, resultHead(false, skippedText(decision.word))};
}

void TaskLoop::tellNotRun(const SplitReply &reply) {
    for (const auto &line : reply.notRun)
        m_reports->emit(line, EventKind::warn);
}

void TaskLoop::announceScript(const QString &script, const QString &prose) {
    QString label = u"Running an AppleScript"_s;
    if (!prose.isEmpty()) {
        m_reports->emit(u"claude: "_s + prose, EventKind::claude, AgentSaid{prose});
        label = plainStep(prose);
    }
    m_headline = label;
    Notifier::update(u"Step %1"_s.arg(m_progress.step), label, true);
    m_reports->emit(u"script:\n"_s + script, EventKind::code, ScriptChosen{script});
}

// The script is not run: the next turn hears why.
TaskLoop::Turn TaskLoop::refuseScript(const std::vector<AppAutomation::Refusal> &refusals) {
    QStringList list;
    QList<AppAutomation::Target> targets;
    for (const auto &refusal : refusals) {
        list.append(shownLine(refusal.target.name, LONGEST_NAME));
        targets.append(refusal.target);
        block(refusal.target);
    }
    const auto names = list.join(u", "_s);
    const auto advice = automationAdvice(std::ranges::any_of(refusals, &AppAutomation::Refusal::denied));
    m_reports->emit(u"✗ "_s + names + u" hasn't been allowed yet — "_s + advice + u", then try again."_s,
                    EventKind::bad, ScriptRefused{list});
    tellHowToAllow(targets);
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
        tellHowToAllow(m_blocked);
    }
    reportScript(result.ok, result.text, seconds);
    co_await sleep(Clock::seconds(m_settings.settle()), m_stop.get_token());
    if (isCancelled())
        co_return std::unexpected(Cancelled{});
    co_return Turn{{}, resultHead(result.ok, result.text)};
}

void TaskLoop::tellLeft(const QString &by, const QStringList &left) {
    QStringList names;
    for (const QString &name : left)
        names.append(shownLine(name, LONGEST_NAME));
    if (!left.isEmpty())
        m_reports->emit(u"left running by %1: "_s.arg(by) + names.join(u", "_s), EventKind::dim);
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

// For the owner alone: what the lines before call by its name on another system.
void TaskLoop::tellHowToAllow(const QList<AppAutomation::Target> &targets) {
    QStringList told; // a script may call the same one by several names
    for (const auto &target : targets) {
        if (told.contains(target.id))
            continue;
        told.append(target.id);
        m_reports->emit(m_reports->howToAllow(target), EventKind::warn);
    }
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
    m_reports->emit(line, ok ? EventKind::result : EventKind::bad, ScriptRan{ok, output, seconds});
    if (!ok)
        Notifier::update(u"That didn't work — trying another way"_s, errorHeadline(output), true);
}

} // namespace ombru
