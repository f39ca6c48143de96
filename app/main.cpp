// ombru: reads the command line and runs one command.

#include "app/cli/CommandLine.h"
#include "base/Background.h"
#include "base/Process.h"
#include "base/Program.h"
#include "platform/Keeper.h"

#include <QCoreApplication>

#include <cstdlib>

int main(int argc, char **argv) {
    ombru::beginProgram();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("ombru"));
    QCoreApplication::setApplicationVersion(QStringLiteral(OMBRU_VERSION));
    ombru::Process::setKeeper(ombru::keeperPath());
    auto command = ombru::readCommandLine(QCoreApplication::arguments().sliced(1));
    const int status = std::visit([](auto &options) { return ombru::runCommand(std::move(options)); }, command);
    // A display or a bus that never answers must not keep the program.
    if (!ombru::finishBackground(std::chrono::seconds(2)))
        std::_Exit(status);
    return status;
}
