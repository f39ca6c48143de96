#include "app/cli/TestClaudeCommand.h"

#include "app/cli/CommandLine.h"
#include "app/cli/Errand.h"

namespace ombru {

using namespace Qt::StringLiterals;

TestClaudeCommand::TestClaudeCommand(const CommandPlace &place) : m_place(place) {
    m_watched = place.state.onWillChange([&state = place.state, finished = m_finished] {
        onMain(&state, [&state, finished] {
            if (!state.claudeTesting && !state.claudeTest->isEmpty())
                finished.fire();
        });
    });
}

void TestClaudeCommand::interrupt() {
    m_interrupted = true;
    m_finished.fire();
}

Task<int> TestClaudeCommand::run() {
    m_place.state.testClaude();
    m_place.output.showLive(u"… Asking claude for a short reply · Ctrl-C stops"_s);
    co_await m_finished;
    m_place.output.showLive({});
    if (m_interrupted)
        co_return 130;
    const bool passed = m_place.state.claudeTestPassed;
    m_place.output.print(m_place.state.claudeTest, passed ? Colour::green : Colour::red);
    if (const auto &cause = m_place.state.claudeTestCause(); !cause.isEmpty())
        m_place.output.print(cause, Colour::yellow);
    co_return m_place.output.statusWhenSeen(passed ? 0 : 1);
}

int runCommand(TestClaudeOptions options) {
    return runErrand(options, [](const CommandPlace &place) -> std::unique_ptr<StateCommand> {
        return std::make_unique<TestClaudeCommand>(place);
    });
}

} // namespace ombru
