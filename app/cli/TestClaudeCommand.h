// `ombru test-claude`: one short question to the claude tool.
#pragma once
#include "app/cli/StateCommand.h"

namespace ombru {

class TestClaudeCommand final : public StateCommand {
public:
    explicit TestClaudeCommand(const CommandPlace &place);

    Task<int> run() override; // 0 when claude answered, 1 when not
    void interrupt() override;

private:
    CommandPlace m_place;
    Completion m_finished;
    bool m_interrupted = false;
    Subscription m_watched;
};

} // namespace ombru
