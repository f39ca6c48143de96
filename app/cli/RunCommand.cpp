#include "app/cli/RunCommand.h"

#include "app/cli/CommandLoop.h"
#include "app/cli/EventPrinter.h"
#include "base/Background.h"
#include "controller/TaskText.h"
#include "notifier/Notifier.h"
#include "platform/Consent.h"

#include <QSet>

#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// Somebody watches: it is a terminal in both directions, and this program is in front of it.
bool isWatched(const Terminal &terminal) {
    return terminal.isInteractive() && ::isatty(STDIN_FILENO) && ::tcgetpgrp(STDIN_FILENO) == ::getpgrp();
}

} // namespace

RunCommand::RunCommand(RunOptions options) : m_options(std::move(options)) {
    m_heard = m_state.onEvent([this](const Event &event) { print(event); });
    m_watched = m_state.onWillChange([this] { noteChange(); });
}

void RunCommand::interrupt() {
    if (m_state.busy)
        m_state.cancelTask();
    else
        m_stop.request_stop();
}

Result<> RunCommand::applyOptions() {
    if (m_options.model) {
        if (auto done = m_state.settings.model.override(*m_options.model); !done)
            return done;
    }
    if (m_options.maxSteps)
        return m_state.settings.maxSteps.overrideTyped(*m_options.maxSteps);
    return {};
}

Task<int> RunCommand::run() {
    if (const auto done = applyOptions(); !done) {
        qCritical("%s", qUtf8Printable(done.error().description));
        co_return 2;
    }
    m_state.startTask(m_options.task);
    showProgress();
    co_await m_finished;
    m_tick.cancel();
    m_terminal.showLive({});
    co_await m_state.drain();
    co_await Notifier::delivered();
    if (m_terminal.isBroken()) {
        qCritical("The output could not be written, so the task was stopped.");
        co_return 1;
    }
    if (!m_options.json) {
        co_await offerConsent(m_state.lastResult->value().outcome != TaskResult::Outcome::cancelled);
        advise();
    }
    co_return statusOf(m_state.lastResult->value().outcome);
}

int RunCommand::statusOf(TaskResult::Outcome outcome) const {
    switch (outcome) {
    case TaskResult::Outcome::answered:
        return 0;
    case TaskResult::Outcome::cancelled:
        return 130;
    case TaskResult::Outcome::desktopInUse:
        // Whoever watches the terminal has read it in the log.
        if (!m_terminal.isInteractive())
            qCritical("%s", qUtf8Printable(desktopInUseText()));
        return 1;
    case TaskResult::Outcome::outOfSteps:
    case TaskResult::Outcome::failed:
        return 1;
    }
    Q_UNREACHABLE();
}

// Only after the task: an open question holds the keys and clicks of every script. Who has just stopped the task is
// told, but asked nothing.
Task<> RunCommand::offerConsent(bool asking) {
    const auto stop = m_stop.get_token();
    const auto applications = m_state.blockedApps();
    QSet<QString> offered; // a script may call the same one by several names
    for (const auto &application : applications) {
        if (offered.contains(application.id))
            continue;
        offered.insert(application.id);
        if (asking && isWatched(m_terminal) && !stop.stop_requested() && co_await allow(application))
            m_terminal.print(u"Allowed. Run the task again to let it go on."_s, Colour::green);
        else
            m_terminal.print(
                u"To let scripts control %1: `ombru consent allow %2`"_s.arg(application.name, application.id),
                Colour::dim);
    }
    if (m_state.lastResult->value().scriptRefused)
        m_terminal.print(
            u"A script was not allowed to control an application. `ombru consent list` shows what you have "
            "decided, and `ombru consent allow APP` lets scripts control one."_s,
            Colour::dim);
}

Task<bool> RunCommand::allow(AppAutomation::Target application) {
    m_terminal.print(u"You are asked whether scripts may control %1 (%2)."_s.arg(application.name, application.id));
    const auto allowed = co_await backgroundWithin(
        24h, m_stop.get_token(), [id = application.id] { return ombru::offerConsent(ownConsentClient(), id); });
    if (allowed && !*allowed)
        m_terminal.print(allowed->error().description, Colour::red);
    co_return allowed && allowed->value_or(false);
}

void RunCommand::advise() {
    if (m_state.lastResult->value().outcome == TaskResult::Outcome::failed)
        m_terminal.print(u"`ombru doctor` says what works here and what to do about the rest."_s, Colour::dim);
}

void RunCommand::print(const Event &event) {
    if (m_options.json)
        m_terminal.printRaw(jsonLine(event));
    else
        m_terminal.print(event.text, colourOf(event.kind));
    // Nobody reads any more: do not go on working unseen.
    if (m_terminal.isBroken())
        interrupt();
}

// A change is announced before it takes effect, and several come together: look once they have.
void RunCommand::noteChange() {
    if (std::exchange(m_changeNoted, true))
        return;
    onMain(&m_state, [this] {
        m_changeNoted = false;
        if (!m_state.busy && m_state.lastResult())
            m_finished.fire();
        else
            showProgress();
    });
}

void RunCommand::showProgress() {
    const auto activity = m_state.cancelling ? m_state.status() : m_state.taskActivity->value_or(QString());
    if (activity != m_activity) {
        m_activity = activity;
        m_activitySince = Clock::now();
    }
    const auto seconds = int(Clock::secondsSince(m_activitySince));
    if (!m_options.json)
        m_terminal.showLive(u"… %1 %2s · Ctrl-C stops"_s.arg(m_activity, QString::number(seconds)));
    m_tick = Loop::main().after(1s, [this] { showProgress(); });
}

int runCommand(RunOptions options) {
    RunCommand command(std::move(options));
    return runLoop(command);
}

} // namespace ombru
