// The application's door for commands of its owner: a local socket that nobody else can reach, and those who came in.
// A client that goes away, reads slowly or sends garbage harms nobody else. Main thread. end() before it is destroyed.
#pragma once
#include "app/resident/Conversation.h"

#include <QLocalServer>

#include <vector>

namespace ombru {

class ControlDoor {
public:
    // The shell, which outlives it, is what those without a panel lack.
    explicit ControlDoor(AppState &state, Shell *shell = nullptr);

    // At that path, in place of what a killed application has left there: whoever calls holds the lock. A Failure has
    // domain "door".
    Result<> open(const QString &socket);

    // Nobody comes in any more; the commands that run are interrupted, and have ended then.
    Task<> end();

private:
    void letIn();
    void admit(std::unique_ptr<QLocalSocket> socket);
    void dismissThoseWhoAreDone();

    AppState &m_state;
    Shell *m_shell;
    EventHistory m_history;
    TaskScope m_tasks;
    std::vector<std::shared_ptr<Conversation>> m_conversations;
    QLocalServer m_server;
};

} // namespace ombru
