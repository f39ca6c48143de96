// Standard Additions as a whole: their words for the parser, their functions for the interpreter.
//
// Pure, any thread.
#pragma once
#include "applescript/run/Invocation.h"

namespace ombru::applescript {

class Dictionary;

void addStandardAdditions(Dictionary &dictionary);

// What does the command with this name; nothing when no addition has it.
CommandFunction standardAddition(QStringView name);

} // namespace ombru::applescript
