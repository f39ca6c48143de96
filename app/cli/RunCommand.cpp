#include "app/cli/RunCommand.h"

#include "app/cli/CommandLoop.h"
#include "app/cli/EventPrinter.h"
#include "app/cli/NoSuspension.h"
#include "app/cli/Request.h"
#include "app/control/TaskReport.h"
#include "base/Background.h"
#include "base/Text.h"
#include "controller/TaskText.h"
#include "notifier/Notifier.h"
#include "platform/Consent.h"
#include "platform/DesktopLock.h"
#include "platform/PeerProcess.h"

#include <QSet>

#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr qsizetype LONGEST_NAME = 255;

// Somebody watches: it is a terminal in both directions, and this program is in front of it.
bool isWatched(const Terminal &terminal) {
    return terminal.isInteractive() && ::isatty(STDIN_FILENO) && ::tcgetpgrp(STDIN_FILENO) == ::getpgrp();
}

} // namespace

struct RunCommand::Here {
    AppState state;
    std::unique_ptr<TaskWatch> watch;
    Completion ended;
};

void RunCommand::interrupt() {
    if (m_result)
        m_stop.request_stop();
    else if (m_door)
        m_door->cancel();
    else if (m_here)
        m_here->watch->cancel();
}

// A script's process hands nothing over: what the application may do is not for scripts of others.
Task<int> RunCommand::run() {
    if (!servesAScript())
        m_door = Door::open();
    std::optional<int> status;
    if (m_door)
        status = co_await handOver();
    if (m_options.detach && !status && !m_result) {
        qCritical("Only the application can go on without a terminal: `ombru --headless` starts it on this display.");
        co_return 1;
    }
    if (!status && !m_result)
        status = co_await doHere();
    m_tick.cancel();
    m_terminal.showLive({});
    co_return status ? *status : co_await settle();
}

Task<std::optional<int>> RunCommand::handOver() {
    m_options.display = desktopName();
    const int status =
        co_await m_door->ask(request(m_options), m_terminal, [this](const QJsonObject &line) { take(line); });
    if (!m_result && !m_elsewhere)
        co_return m_terminal.statusWhenSeen(status);
    m_door.reset();
    co_return std::nullopt;
}

void RunCommand::take(const QJsonObject &line) {
    if (const auto event = eventOf(line))
        print(*event);
    else if (const auto result = reportedResult(line))
        m_result = *result;
    else if (line.contains("progress"_L1))
        showProgress(line["progress"_L1].toString());
    else if (line.contains("elsewhere"_L1))
        m_elsewhere = true;
    else
        show(m_terminal, line);
}

Task<std::optional<int>> RunCommand::doHere() {
    const NoSuspension noSuspension;
    m_here = std::make_shared<Here>();
    auto &here = *m_here;
    here.watch = std::make_unique<TaskWatch>(
        here.state, TaskWatch::Listener{.onEvent = [this](const Event &event) { print(event); },
                                        .onProgress = [this](const QString &line) { showProgress(line); },
                                        .onEnd =
                                            [this](const TaskResult &result) {
                                                m_result = result;
                                                m_here->ended.fire();
                                            }});
    if (const auto started = here.watch->start(m_options); !started) {
        qCritical("%s", qUtf8Printable(started.error().description));
        co_return 2;
    }
    co_await here.ended;
    m_tick.cancel();
    m_terminal.showLive({});
    co_await here.state.drain();
    co_await Notifier::delivered();
    co_return std::nullopt;
}

Task<int> RunCommand::settle() {
    if (m_terminal.isBroken()) {
        qCritical("The output could not be written, so the task was stopped.");
        co_return 1;
    }
    if (!m_options.json) {
        co_await offerConsent(m_result->outcome != TaskResult::Outcome::cancelled);
        advise();
    }
    co_return statusOf(m_result->outcome);
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
    const auto applications = m_result->blocked;
    QSet<QString> offered; // a script may call the same one by several names
    for (const auto &application : applications) {
        if (offered.contains(application.id))
            continue;
        offered.insert(application.id);
        if (asking && isWatched(m_terminal) && !stop.stop_requested() && co_await allow(application))
            m_terminal.print(u"Allowed. Run the task again to let it go on."_s, Colour::green);
        else
            m_terminal.print(u"To let scripts control %1: `ombru consent allow %2`"_s.arg(
                                 shownLine(application.name, LONGEST_NAME), shownLine(application.id, LONGEST_NAME)),
                             Colour::dim);
    }
    if (m_result->scriptRefused)
        m_terminal.print(
            u"A script was not allowed to control an application. `ombru consent list` shows what you have "
            "decided, and `ombru consent allow APP` lets scripts control one."_s,
            Colour::dim);
}

Task<bool> RunCommand::allow(AppAutomation::Target application) {
    m_terminal.print(u"You are asked whether scripts may control %1 (%2)."_s.arg(
        shownLine(application.name, LONGEST_NAME), shownLine(application.id, LONGEST_NAME)));
    const auto allowed = co_await backgroundWithin(
        24h, m_stop.get_token(), [id = application.id] { return ombru::offerConsent(ownConsentClient(), id); });
    if (allowed && !*allowed)
        m_terminal.print(allowed->error().description, Colour::red);
    co_return allowed && allowed->value_or(false);
}

void RunCommand::advise() {
    if (m_result->outcome == TaskResult::Outcome::failed)
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

void RunCommand::showProgress(const QString &line) {
    m_activity = line;
    m_activitySince = Clock::now();
    tick();
}

void RunCommand::tick() {
    if (NoSuspension::takeWish())
        m_terminal.complain(u"A task cannot be paused; Ctrl-C stops it."_s);
    const auto seconds = int(Clock::secondsSince(m_activitySince));
    if (!m_options.json)
        m_terminal.showLive(u"… %1 %2s · Ctrl-C stops"_s.arg(m_activity, QString::number(seconds)));
    m_tick = Loop::main().after(1s, [this] { tick(); });
}

int runCommand(RunOptions options) {
    RunCommand command(std::move(options));
    return runLoop(command);
}

} // namespace ombru
