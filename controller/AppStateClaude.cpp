#include "controller/AppState.h"

namespace ombru {

void AppState::testClaude() {
    if (!claudeTesting)
        m_tasks.start(runClaudeTest());
}

Task<> AppState::runClaudeTest() {
    claudeTesting = true;
    claudeTest = QString();
    const auto [works, line, cause] = co_await Claude::smokeTest(m_tasks.token());
    claudeTestPassed = works;
    claudeTest = line;
    claudeTestCause = cause;
    claudeTesting = false;
    emit(line, works ? EventKind::good : EventKind::bad);
    if (!cause.isEmpty())
        emit(cause, EventKind::warn);
}

} // namespace ombru
