#include "app/cli/TestClaudeCommand.h"

#include "app/cli/CommandLine.h"
#include "app/cli/CommandLoop.h"
#include "app/cli/EventPrinter.h"

namespace ombru {

using namespace Qt::StringLiterals;

TestClaudeCommand::TestClaudeCommand() {
    m_heard = m_state.onEvent([this](const Event &event) { m_terminal.print(event.text, colourOf(event.kind)); });
    m_watched = m_state.onWillChange([this] {
        onMain(&m_state, [this] {
            if (!m_state.claudeTesting && !m_state.claudeTest->isEmpty())
                m_finished.fire();
        });
    });
}

void TestClaudeCommand::interrupt() {
    m_interrupted = true;
    m_finished.fire();
}

Task<int> TestClaudeCommand::run() {
    m_state.testClaude();
    m_terminal.showLive(u"… Asking claude for a short reply · Ctrl-C stops"_s);
    co_await m_finished;
    m_terminal.showLive({});
    co_await m_state.drain();
    if (m_interrupted)
        co_return 130;
    co_return m_state.claudeTestPassed ? 0 : 1;
}

int runCommand(TestClaudeOptions) {
    TestClaudeCommand command;
    return runLoop(command);
}

} // namespace ombru
