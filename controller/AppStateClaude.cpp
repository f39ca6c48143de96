#include "controller/AppState.h"

namespace ombru {

using namespace Qt::StringLiterals;

void AppState::testClaude() {
    if (!claudeTesting)
        m_tasks.start(runClaudeTest());
}

Task<> AppState::runClaudeTest() {
    claudeTesting = true;
    claudeTest = QString();
    const auto line = co_await Claude::smokeTest(m_tasks.token());
    claudeTest = line;
    claudeTesting = false;
    emit(line, line.startsWith(u"✗"_s) ? EventKind::bad : EventKind::good);
}

} // namespace ombru
