// What only the application can do for a command. Each tells the terminal at the other end of the door.
#pragma once
#include "app/cli/CommandLine.h"
#include "app/cli/StateCommand.h"
#include "app/cli/TaskLines.h"
#include "app/cli/TaskWatch.h"
#include "app/resident/EventHistory.h"
#include "app/resident/RemoteTerminal.h"
#include "app/resident/Shell.h"

namespace ombru {

// `ombru run`: whoever began the task takes it along when it goes, but for a detached one.
class HandedTask final : public StateCommand {
public:
    HandedTask(AppState &state, RemoteTerminal &terminal, RunOptions options);

    Task<int> run() override;
    void interrupt() override;

private:
    int refuse(); // another task runs
    void tell(const Event &event);
    void tellEnd(const TaskResult &result);

    RemoteTerminal &m_terminal;
    RunOptions m_options;
    TaskLines m_lines; // for a program
    Completion m_ended;
    TaskWatch m_watch;
};

// `ombru stop`: until the running task has ended.
class StopCommand final : public StateCommand {
public:
    explicit StopCommand(const CommandPlace &place) : m_place(place) {}
    Task<int> run() override; // 1 when there is none
    void interrupt() override { m_over.fire(); }

private:
    CommandPlace m_place;
    Completion m_over;
    Subscription m_ended;
};

// `ombru log`: the last events, and those to come.
class LogCommand final : public StateCommand {
public:
    LogCommand(AppState &state, const EventHistory &history, RemoteTerminal &terminal, LogOptions options)
        : m_state(state), m_history(history), m_terminal(terminal), m_options(options) {}
    Task<int> run() override;
    void interrupt() override { m_over.fire(); }

private:
    AppState &m_state;
    const EventHistory &m_history;
    RemoteTerminal &m_terminal;
    LogOptions m_options;
    Completion m_over;
    Subscription m_heard;
};
// Where `ombru-call` may place a call, and with which token.
class CallAccessCommand final : public StateCommand {
public:
    CallAccessCommand(const CommandPlace &place, RemoteTerminal &terminal) : m_place(place), m_terminal(terminal) {}
    Task<int> run() override; // 1 when no calls are taken
    void interrupt() override {}

private:
    CommandPlace m_place;
    RemoteTerminal &m_terminal;
};

// `ombru panel`, and a second start of the application.
class PanelCommand final : public StateCommand {
public:
    PanelCommand(Output &output, Shell *shell, PanelOptions options)
        : m_output(output), m_shell(shell), m_options(options) {}
    Task<int> run() override; // 1 when there is no panel
    void interrupt() override {}

private:
    Output &m_output;
    Shell *m_shell;
    PanelOptions m_options;
};

// `ombru share-audio`: into the calls that are open.
class ShareAudioCommand final : public StateCommand {
public:
    ShareAudioCommand(const CommandPlace &place, ShareAudioOptions options) : m_place(place), m_options(options) {}
    Task<int> run() override; // 1 when there is no call to share it into
    void interrupt() override {}

private:
    CommandPlace m_place;
    ShareAudioOptions m_options;
};

} // namespace ombru
