#include "app/cli/TaskWatch.h"

namespace ombru {

using namespace Qt::StringLiterals;

Result<bool> TaskWatch::start(const RunOptions &options) {
    if (m_state.busy)
        return false;
    if (const auto limited = limit(options); !limited) {
        unlimit();
        return std::unexpected(limited.error());
    }
    if (const auto begun = beginConversation(options.conversation); !begun) {
        unlimit();
        return std::unexpected(begun.error());
    }
    m_heard = m_state.onEvent(m_listener.onEvent);
    // A change is announced before it takes effect, and several come together: look once they have.
    m_watched = m_state.onWillChange([this] { m_look.ask(); });
    m_ended = m_state.onTaskEnded([this](const TaskResult &result) { end(result); });
    m_running = true;
    m_state.startTask(options.task, {}, {}, {}, m_listener.confirm);
    tellProgress();
    return true;
}

Result<> TaskWatch::limit(const RunOptions &options) {
    if (options.model) {
        if (auto done = m_state.settings.model.override(*options.model); !done)
            return done;
    }
    return options.maxSteps ? m_state.settings.maxSteps.overrideTyped(*options.maxSteps) : Result<>();
}

Result<> TaskWatch::beginConversation(RunOptions::Conversation which) {
    using enum RunOptions::Conversation;
    if (which == fresh)
        m_state.newSession();
    if (which == last && !m_state.goOnWithLastConversation())
        return std::unexpected(
            Failure{u"task"_s, 1, u"There is no conversation to go on with: run the task without --continue."_s});
    return {};
}

void TaskWatch::unlimit() {
    m_state.settings.model.endOverride();
    m_state.settings.maxSteps.endOverride();
}

void TaskWatch::cancel() {
    if (m_running)
        m_state.cancelTask();
}

void TaskWatch::tellProgress() {
    const auto line = m_state.cancelling ? m_state.status() : m_state.taskActivity->value_or(QString());
    if (line != std::exchange(m_told, line))
        m_listener.onProgress(line);
}

// The next task may begin at once, so nothing of this one counts any more; whoever asked hears of it in a while.
void TaskWatch::end(const TaskResult &result) {
    m_running = false;
    unlimit();
    m_watched.end();
    m_ended.end();
    onMain(&m_state, [this, result, alive = std::weak_ptr(m_alive)] {
        if (alive.expired())
            return;
        m_heard.end();
        m_listener.onEnd(result);
    });
}

} // namespace ombru
