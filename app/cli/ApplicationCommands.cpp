// The commands that only the application can do: `ombru stop`, `new-session`, `share-audio` and `log`.

#include "app/cli/Errand.h"
#include "app/cli/EventPrinter.h"

namespace ombru {

int runCommand(StopOptions options) {
    return runErrand(options);
}

int runCommand(NewSessionOptions options) {
    return runErrand(options);
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

} // namespace ombru
