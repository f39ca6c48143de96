// What stands around the language while a script runs: the computer, the words, the commands beyond the language's own.
// They are put together above (Script.cpp), so that this floor knows none of them.
#pragma once
#include "applescript/run/Events.h"
#include "applescript/run/Invocation.h"
#include "applescript/syntax/Dictionary.h"

namespace ombru::applescript {

struct Surroundings {
    Host &host;
    const Vocabulary &vocabulary;
    CommandFunction (*commandNamed)(QStringView name); // nothing when it is not known
    std::unique_ptr<Events> (*events)(Context &context);
};

} // namespace ombru::applescript
