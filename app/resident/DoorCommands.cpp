#include "app/resident/DoorCommands.h"

#include "app/control/TaskReport.h"
#include "controller/TaskText.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int STOPPED = 130;

} // namespace

HandedTask::HandedTask(AppState &state, RemoteTerminal &terminal, RunOptions options)
    : m_terminal(terminal), m_options(std::move(options)),
      m_watch(state, {.onEvent = [this](const Event &event) { tell(event); },
                      .onProgress = [&terminal](const QString &line) { terminal.showProgress(line); },
                      .onEnd =
                          [this](const TaskResult &result) {
                              tellEnd(result);
                              m_ended.fire();
                          }}) {}

void HandedTask::tell(const Event &event) {
    if (!m_options.json)
        return m_terminal.tell(event);
    if (const auto line = m_lines.event(event))
        m_terminal.tellRaw(*line);
}

void HandedTask::tellEnd(const TaskResult &result) {
    if (m_options.json)
        m_terminal.printRaw(m_lines.end(result));
    m_terminal.send(taskReport(result));
}

Task<int> HandedTask::run() {
    const auto started = m_watch.start(m_options);
    if (!started) {
        m_terminal.complain(started.error().description);
        co_return 2;
    }
    if (!*started)
        co_return refuse();
    if (m_options.detach) {
        if (m_options.json)
            m_terminal.printRaw(TaskLines::detached());
        else
            m_terminal.print(
                u"The application goes on with it: `ombru log -f` shows the event log, `ombru stop` stops it."_s,
                Colour::dim);
        m_terminal.exit(0);
    }
    co_await m_ended; // also of a detached one: its limits end with it
    co_return 0;
}

// The same as a second task in a process of its own is told.
int HandedTask::refuse() {
    const auto now = Clock::unixSeconds();
    tell({EventKind::user, u"you ❯ "_s + m_options.task, now, TaskBegun{m_options.task}});
    tell({EventKind::bad, u"✗ "_s + desktopInUseText(), now, ToldAtEnd{}});
    tellEnd({TaskResult::Outcome::desktopInUse, {}});
    return 1;
}

void HandedTask::interrupt() {
    if (!m_options.detach)
        m_watch.cancel();
}

Task<int> StopCommand::run() {
    auto &state = m_place.state;
    if (!state.busy) {
        m_place.output.print(u"No task is running."_s);
        co_return 1;
    }
    const auto ended = std::make_shared<bool>(false);
    m_ended = state.onTaskEnded([ended, over = m_over](const TaskResult &) {
        *ended = true;
        over.fire();
    });
    state.cancelTask();
    co_await m_over;
    if (!*ended)
        co_return STOPPED;
    m_place.output.print(u"The task has been stopped."_s);
    co_return 0;
}

Task<int> LogCommand::run() {
    for (const auto &event : m_history.events())
        m_terminal.tell(event);
    if (!m_options.follow)
        co_return 0;
    m_heard = m_state.onEvent([this](const Event &event) { m_terminal.tell(event); });
    co_await m_over;
    co_return STOPPED;
}

Task<int> CallAccessCommand::run() {
    const auto &state = m_place.state;
    const auto access = state.callAccess();
    if (!access) {
        const auto status = state.serverStatus();
        m_terminal.complain(u"The application takes no calls: "_s +
                            (status.isEmpty() ? u"it is not signed in."_s : status + u'.'));
        co_return 1;
    }
    m_terminal.send({{u"call"_s, QJsonObject{{u"port"_s, access->port}, {u"token"_s, access->token}}}});
    co_return 0;
}

Task<int> PanelCommand::run() {
    if (!m_shell) {
        m_output.complain(u"ombru runs without a panel (ombru --headless): end that one first."_s);
        co_return 1;
    }
    const bool done = m_options.again ? m_shell->startedAgain() : m_shell->openPanel();
    if (!done)
        m_output.complain(u"ombru is ending. Start it again in a moment."_s);
    co_return done ? 0 : 1;
}

Task<int> ShareAudioCommand::run() {
    const bool inCall = m_place.state.shareAudio(m_options.on);
    if (inCall)
        m_place.output.print(m_options.on ? u"The computer's sound goes into every open call."_s
                                          : u"The computer's sound goes into no call."_s);
    else
        m_place.output.print(m_options.on ? u"No call is open that the sound could be shared into."_s
                                          : u"No call is open, so no sound is shared."_s);
    co_return m_options.on && !inCall ? 1 : 0;
}

} // namespace ombru
