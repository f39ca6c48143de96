// How a sign-in stands. A plain value.
#pragma once
#include "controller/Event.h"

namespace ombru {

struct SignInView {
    bool running = false;
    Event outcome = {};    // the line of the log that the last one ended with; empty when it ended silently
    bool accepted = false; // by the service: this computer has its token

    bool operator==(const SignInView &) const = default;
};

} // namespace ombru
