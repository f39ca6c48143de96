// A command that works on a controller: that of the application, when it runs, or else one of this process's own. It
// says the same in both. Main thread.
#pragma once
#include "app/cli/Output.h"
#include "controller/AppState.h"

namespace ombru {

// What it works with; all of it outlives the command.
struct CommandPlace {
    AppState &state;
    Output &output;
    TaskScope &tasks;   // for what goes on after the command has ended
    bool stays = false; // it is the application's
};

class StateCommand {
public:
    virtual ~StateCommand() = default;
    virtual Task<int> run() = 0;  // the exit status; 130 stopped by the owner
    virtual void interrupt() = 0; // makes run() end

    // Whether it tells that line of the log itself, so that nobody else has to. Asked as the line is written.
    virtual bool tells(const Event & /*event*/) const { return false; }
};

} // namespace ombru
