// ombru: reads the command line and runs one command.

#include "app/cli/CommandLine.h"
#include "app/cli/Complaints.h"
#include "app/cli/TaskLines.h"
#include "app/cli/Terminal.h"
#include "base/Background.h"
#include "base/Process.h"
#include "base/Program.h"
#include "platform/Keeper.h"
#include "platform/SystemLog.h"
#include "settings/Settings.h"

#include <QCoreApplication>

#include <cstdlib>

namespace {

// What a newer ombru has set may mean something else here. Only what says what is wrong, or takes it all away, goes on.
bool mayGoOn(const ombru::Command &command) {
    using namespace ombru;
    const auto known = Settings(Settings::defaultFile()).isOfThisVersion();
    if (known || std::holds_alternative<DoctorOptions>(command) || std::holds_alternative<UninstallOptions>(command) ||
        std::holds_alternative<Farewell>(command))
        return true;
    if (const auto *run = std::get_if<RunOptions>(&command); run && run->json)
        Terminal().printRaw(errorLine(known.error().description, 1));
    qCritical("%s", qUtf8Printable(known.error().description));
    return false;
}

} // namespace

int main(int argc, char **argv) {
    ombru::beginProgram();
    ombru::complainPatiently();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("ombru"));
    QCoreApplication::setApplicationVersion(QStringLiteral(OMBRU_VERSION));
    ombru::Process::setKeeper(ombru::keeperPath());
    auto command = ombru::readCommandLine(QCoreApplication::arguments().sliced(1));
    if (!mayGoOn(command))
        return 1;
    const int ended = std::visit([](auto &options) { return ombru::runCommand(std::move(options)); }, command);
    const int status = ombru::Terminal::statusWhenAllSeen(ended);
    if (const auto lost = ombru::lostLog(); !lost.isEmpty())
        qCritical("%s", qUtf8Printable(lost));
    // A display or a bus that never answers must not keep the program.
    if (!ombru::finishBackground(std::chrono::seconds(2)))
        std::_Exit(status);
    return status;
}
