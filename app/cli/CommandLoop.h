// Runs a command that waits: the event loop until it has ended. Main thread.
#pragma once
#include "app/cli/Interrupt.h"
#include "base/Process.h"
#include "base/Task.h"

#include <QCoreApplication>

#include <cstdlib>
#include <utility>

namespace ombru {

inline Task<> exitWith(Task<int> command) {
    const int status = co_await command;
    // From the loop, so that it ends also a command that never waited.
    Loop::main().post([status] { QCoreApplication::exit(status); });
}

// Its exit status. `command` has run() and interrupt(), which makes run() end; whoever interrupts it twice will not
// wait.
template <class Command>
int runLoop(Command &command) {
    constexpr int INTERRUPTED = 130;
    const Interrupt interrupt([&command, again = false]() mutable {
        if (std::exchange(again, true)) {
            Process::killAll();
            std::_Exit(INTERRUPTED);
        }
        command.interrupt();
    });
    const auto running = exitWith(command.run());
    return QCoreApplication::exec();
}

} // namespace ombru
