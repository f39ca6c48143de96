// Where the system's tool that runs AppleScript is. Any thread.
#pragma once
#include <QString>

namespace ombru {

// Full path of `osascript`. It may not exist; starting it then fails with the system's words.
QString osascriptPath();

} // namespace ombru
