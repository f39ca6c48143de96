// The commands for the application, most of which nobody else can do: `ombru stop`, `new-session`, `share-audio`, `log`
// and `panel`.

#include "app/cli/Errand.h"
#include "app/cli/EventPrinter.h"
#include "app/cli/NewSessionCommand.h"
#include "platform/PeerProcess.h"
#include "platform/Workspace.h"

namespace ombru {

using namespace Qt::StringLiterals;

int runCommand(StopOptions options) {
    return runErrand(options);
}

int runCommand(NewSessionOptions options) {
    return runErrand(options, [](const CommandPlace &place) { return std::make_unique<NewSessionCommand>(place); });
}

int runCommand(ShareAudioOptions options) {
    return runErrand(options);
}

int runCommand(LogOptions options) {
    Errand errand(options);
    if (options.json)
        errand.onEvent = [](Terminal &terminal, const Event &event) { terminal.printRaw(jsonLine(event)); };
    return runLoop(errand);
}

int runCommand(PanelOptions options) {
    if (Door::open())
        return runErrand(options);
    if (servesAScript()) {
        Terminal().complain(u"A script cannot start the application."_s);
        return 1;
    }
    if (const auto started = startMenuBarApplication(true); !started) {
        Terminal().complain(started.error().description);
        return 1;
    }
    return 0;
}

} // namespace ombru
