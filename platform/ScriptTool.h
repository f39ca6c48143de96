// Where the system's tool that runs AppleScript is. Any thread.
#pragma once
#include <QString>

#include <vector>

namespace ombru {

// Full path of `osascript`. It may not exist; starting it then fails with the system's words.
QString osascriptPath();

// Open files for Process::Command::inherited: by them a script's osascript knows that this program has it run, and so
// has its permissions. Good until this program ends.
std::vector<int> osascriptInherits();

} // namespace ombru
