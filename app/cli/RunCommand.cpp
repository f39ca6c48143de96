#include "app/cli/RunCommand.h"

#include "app/cli/CommandLoop.h"
#include "app/cli/EventPrinter.h"
#include "app/cli/Request.h"
#include "app/cli/Suspension.h"
#include "app/control/TaskReport.h"
#include "base/Background.h"
#include "base/Text.h"
#include "controller/TaskText.h"
#include "notifier/Notifier.h"
#include "platform/Consent.h"
#include "platform/DesktopLock.h"
#include "platform/PeerProcess.h"

#include <QFile>
#include <QJsonDocument>
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

const QString FROM_INPUT = u"-"_s;
constexpr qint64 LONGEST_TASK = 64 << 10; // bytes; a task is part of one argument, and the system takes 128 KiB for one

// The task from the standard input, to its end.
Result<QString> typedTask() {
    const auto failure = [](const QString &what) { return std::unexpected(Failure{u"task"_s, 1, what}); };
    QFile input;
    if (!input.open(STDIN_FILENO, QFile::ReadOnly))
        return failure(u"The standard input cannot be read: %1."_s.arg(input.errorString()));
    if (::isatty(STDIN_FILENO))
        qInfo("Type the task; Ctrl-D on a line of its own ends it.");
    const auto bytes = input.read(LONGEST_TASK + 1);
    if (bytes.size() > LONGEST_TASK)
        return failure(u"The task is longer than %1 KiB."_s.arg(LONGEST_TASK >> 10));
    const auto task = QString::fromUtf8(bytes).trimmed();
    return task.isEmpty() ? failure(u"There is no task in the standard input."_s) : Result<QString>(task);
}

// There is no task.
int refused(const RunOptions &options, Terminal &terminal, const QString &why, int status) {
    if (options.json)
        terminal.printRaw(errorLine(why, status));
    terminal.complain(why);
    return status;
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
    if (m_options.confirm && !ScriptPrompt::canAsk())
        co_return refuse(
            u"--confirm asks on the terminal: type it in one, with neither the standard input nor the output "
            "led elsewhere."_s,
            WRONG_WORDS);
    if (!servesAScript())
        m_door = Door::open();
    if (m_options.confirm && std::exchange(m_door, nullptr))
        m_terminal.print(u"This process does the task, not the application that runs: only here you can be asked."_s,
                         Colour::dim);
    std::optional<int> status;
    if (m_door)
        status = co_await handOver();
    if (m_options.detach && !status && !m_result)
        co_return refuse(
            u"Only the application can go on without a terminal: `ombru --headless` starts it on this display."_s, 1);
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
    if (!m_result && !m_elsewhere) {
        if (m_options.json && status != 0)
            m_terminal.printRaw(
                errorLine(m_complaint.isEmpty() ? u"The application has ended."_s : m_complaint, status));
        co_return m_terminal.statusWhenSeen(status);
    }
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
    else if (m_options.json)
        printForProgram(line);
    else
        show(m_terminal, line);
    if (m_terminal.isBroken())
        interrupt();
}

void RunCommand::printForProgram(const QJsonObject &line) {
    if (line.contains("dropped"_L1))
        return m_terminal.printRaw(TaskLines::dropped(line["dropped"_L1].toInteger(), m_step));
    if (line.contains("raw"_L1))
        m_step = QJsonDocument::fromJson(line["raw"_L1].toString().toUtf8())["step"_L1].toInt();
    if (line.contains("error"_L1))
        m_complaint = line["error"_L1].toString();
    show(m_terminal, line);
}

ScriptQuestion RunCommand::confirmation() {
    if (!m_options.confirm)
        return {};
    return [this](std::stop_token stop) { return m_prompt.ask(std::move(stop)); };
}

int RunCommand::refuse(const QString &why, int status) {
    return refused(m_options, m_terminal, why, status);
}

Task<std::optional<int>> RunCommand::doHere() {
    const Suspension suspension({.before = [this] { m_terminal.showLive({}); },
                                 .after =
                                     [this] {
                                         if (m_tick.pending())
                                             tick();
                                     }});
    m_here = std::make_shared<Here>();
    auto &here = *m_here;
    here.watch = std::make_unique<TaskWatch>(
        here.state, TaskWatch::Listener{.onEvent = [this](const Event &event) { print(event); },
                                        .onProgress = [this](const QString &line) { showProgress(line); },
                                        .onEnd =
                                            [this](const TaskResult &result) {
                                                m_result = result;
                                                if (m_options.json)
                                                    m_terminal.printRaw(m_lines.end(result));
                                                m_here->ended.fire();
                                            },
                                        .confirm = confirmation()});
    if (const auto started = here.watch->start(m_options); !started)
        co_return refuse(started.error().description, WRONG_WORDS);
    m_terminal.setPatient(true); // a script's time ends, also while nobody reads on
    co_await here.ended;
    m_tick.cancel();
    m_terminal.showLive({});
    m_terminal.setPatient(false);
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
    // Whoever watches the terminal has read it in the log.
    if (outcome == TaskResult::Outcome::desktopInUse && !m_terminal.isInteractive())
        qCritical("%s", qUtf8Printable(desktopInUseText()));
    return exitStatus(outcome);
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
            m_terminal.print(u"To let scripts control %1: `%2`"_s.arg(
                                 shownLine(application.name, LONGEST_NAME),
                                 AppAutomation::allowingCommand(application.id, application.name)),
                             Colour::dim);
    }
    if (m_result->scriptRefused)
        m_terminal.print(
            u"A script was not allowed to control an application. `ombru consent list` shows what you have "
            "decided, and `ombru consent allow APP` lets scripts control one."_s,
            Colour::dim);
}

Task<bool> RunCommand::allow(AppAutomation::Target application) {
    m_terminal.print(u"You are asked whether scripts may control %1."_s.arg(shownLine(application.name, LONGEST_NAME)));
    const auto allowed = co_await backgroundWithin(
        24h, m_stop.get_token(), [id = application.id] { return ombru::offerConsent(ownConsentClient(), id); });
    if (allowed && !*allowed)
        m_terminal.print(allowed->error().description, Colour::red);
    co_return allowed && allowed->value_or(false);
}

void RunCommand::advise() {
    using enum TaskResult::Outcome;
    if (m_result->outcome == failed)
        m_terminal.print(u"`ombru doctor` says what works here and what to do about the rest."_s, Colour::dim);
    if (m_result->outcome == answered)
        m_terminal.print(u"The agent did not say that it is done: it asks something, or could not do it. `ombru run "
                         "--continue \"...\"` answers it."_s,
                         Colour::dim);
    if (m_result->outcome == outOfSteps)
        m_terminal.print(u"`ombru run --continue \"go on\"` goes on from here."_s, Colour::dim);
}

void RunCommand::print(const Event &event) {
    if (!m_options.json)
        m_terminal.print(terminalText(event), colourOf(event.kind));
    else if (const auto line = m_lines.event(event))
        m_terminal.printRaw(*line);
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
    const auto seconds = int(Clock::secondsSince(m_activitySince));
    if (!m_options.json && !m_prompt.isAsking())
        m_terminal.showLive(u"… %1 %2s · Ctrl-C stops"_s.arg(m_activity, QString::number(seconds)));
    m_tick = Loop::main().after(1s, [this] { tick(); });
}

int runCommand(RunOptions options) {
    if (options.task == FROM_INPUT) {
        const auto task = typedTask();
        if (!task) {
            Terminal terminal;
            return refused(options, terminal, task.error().description, WRONG_WORDS);
        }
        options.task = *task;
    }
    RunCommand command(std::move(options));
    return runLoop(command);
}

} // namespace ombru
