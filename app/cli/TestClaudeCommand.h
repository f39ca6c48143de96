// `ombru test-claude`: one short question to the claude tool.
#pragma once
#include "app/cli/Terminal.h"
#include "controller/AppState.h"

namespace ombru {

class TestClaudeCommand {
public:
    TestClaudeCommand();

    Task<int> run(); // the exit status: 0 when claude answered, 1 when not, 130 stopped by the owner
    void interrupt();

private:
    Terminal m_terminal;
    AppState m_state;
    Completion m_finished;
    bool m_interrupted = false;
    Subscription m_heard;
    Subscription m_watched;
};

} // namespace ombru
