// `ombru settings`: lists, reads and writes what the owner may change.
#pragma once
#include "app/cli/CommandLine.h"

namespace ombru {

int runSettingsCommand(const SettingsOptions &options); // exit status

} // namespace ombru
