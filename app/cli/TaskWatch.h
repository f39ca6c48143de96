// One task, from its start to its end, for whoever asked for it: its events, how it stands, and its result. Main
// thread.
#pragma once
#include "app/cli/CommandLine.h"
#include "base/OnceATurn.h"
#include "controller/AppState.h"

namespace ombru {

class TaskWatch {
public:
    struct Listener {
        std::function<void(const Event &event)> onEvent;
        std::function<void(const QString &line)> onProgress; // what is happening now
        std::function<void(const TaskResult &result)> onEnd; // nothing comes after it
        ScriptQuestion confirm = {};                         // before each script; none: they run
    };

    // The state outlives the watch.
    TaskWatch(AppState &state, Listener listener) : m_state(state), m_listener(std::move(listener)) {}

    // Limits that are given count for this task alone. False: another task runs, and there is nothing to watch. A
    // Failure says which limit or conversation cannot be.
    Result<bool> start(const RunOptions &options);

    void cancel(); // does nothing before the start and after the end

private:
    Result<> limit(const RunOptions &options);
    void unlimit();
    Result<> beginConversation(RunOptions::Conversation which);
    void tellProgress();
    void end(const TaskResult &result);

    AppState &m_state;
    Listener m_listener;
    bool m_running = false;
    QString m_told;
    std::shared_ptr<const char> m_alive = std::make_shared<char>(); // whoever comes later looks whether this is there
    OnceATurn m_look{[this] {
        if (m_running)
            tellProgress();
    }};
    Subscription m_heard;
    Subscription m_watched;
    Subscription m_ended;
};

} // namespace ombru
