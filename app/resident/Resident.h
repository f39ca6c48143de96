// The application that stays, until its owner ends it: `ombru --headless` is all of it, the one in the menu bar adds a
// panel. Owns the controller. Main thread.
#pragma once
#include "app/cli/Terminal.h"
#include "app/resident/ControlDoor.h"
#include "controller/AppState.h"

namespace ombru {

class Resident {
public:
    // The shell, which outlives it, is what one without a panel lacks.
    explicit Resident(QString socket, Shell *shell = nullptr);

    AppState &state() { return m_state; }

    // The exit status: 0 once it was asked to end and everything has ended; 1 when it cannot be reached by commands.
    Task<int> run();

    // Ends it: the channel says goodbye, what was started is ended, and after two seconds the program leaves in any
    // case.
    void interrupt();

private:
    Task<> end();

    QString m_socket;
    Terminal m_terminal;
    AppState m_state;
    ControlDoor m_door;
    Completion m_asked; // to end
    TaskScope m_tasks;
    Timer m_killing;
    Timer m_leaving;
    Subscription m_heard;
};

} // namespace ombru
