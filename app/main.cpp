// ombru: reads the command line, runs one command, and hands Ctrl-C to it.

#include "app/cli/CommandLine.h"
#include "app/cli/ConsentCommand.h"
#include "app/cli/DoctorCommand.h"
#include "app/cli/Interrupt.h"
#include "app/cli/RunCommand.h"
#include "app/cli/SettingsCommand.h"
#include "app/cli/StatusCommand.h"
#include "app/cli/TestClaudeCommand.h"
#include "base/Background.h"
#include "base/Process.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

using namespace ombru;

namespace {

Task<> exitWith(Task<int> command) {
    const int status = co_await command;
    // From the loop, so that it ends also a command that never waited.
    Loop::main().post([status] { QCoreApplication::exit(status); });
}

constexpr int INTERRUPTED = 130;

// A command that waits: runs the event loop until it has ended. Whoever interrupts it twice will not wait.
template <class Command>
int runLoop(Command &command) {
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

int run(RunOptions options) {
    RunCommand command(std::move(options));
    return runLoop(command);
}

int run(const SettingsOptions &options) {
    return runSettingsCommand(options);
}

int run(ConsentOptions options) {
    ConsentCommand command(std::move(options));
    return runLoop(command);
}

int run(TestClaudeOptions) {
    TestClaudeCommand command;
    return runLoop(command);
}

int run(DoctorOptions) {
    DoctorCommand command;
    return runLoop(command);
}

int run(const StatusOptions &options) {
    StatusCommand command(options);
    return runLoop(command);
}

int run(const Farewell &farewell) {
    std::fputs(qUtf8Printable(farewell.output), stdout);
    std::fputs(qUtf8Printable(farewell.error), stderr);
    return farewell.status;
}

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("ombru"));
    QCoreApplication::setApplicationVersion(QStringLiteral(OMBRU_VERSION));
    auto command = readCommandLine(QCoreApplication::arguments().sliced(1));
    const int status = std::visit([](auto &options) { return run(std::move(options)); }, command);
    // A display or a bus that never answers must not keep the program.
    if (!finishBackground(std::chrono::seconds(2)))
        std::_Exit(status);
    return status;
}
