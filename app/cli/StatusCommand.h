// `ombru status`: what the owner allows, and what is left to do before the agent can work.
#pragma once
#include "app/cli/CommandLine.h"
#include "app/cli/Terminal.h"
#include "controller/AppState.h"

namespace ombru {

class StatusCommand {
public:
    explicit StatusCommand(const StatusOptions &options);

    Task<int> run(); // the exit status: 0, 1 when it could not be printed, 130 stopped by the owner
    void interrupt();

private:
    Task<> look();
    void print();
    void printJson();

    StatusOptions m_options;
    Terminal m_terminal;
    AppState m_state;
    Subscription m_warned; // what the owner should know beside the answer
    Completion m_looked;
    TaskScope m_tasks;
    bool m_interrupted = false;
};

} // namespace ombru
