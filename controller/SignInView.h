// How a sign-in stands. A plain value.
#pragma once
#include "cloud/Auth.h"
#include "controller/Event.h"

#include <optional>

namespace ombru {

struct SignInView {
    bool running = false;
    std::optional<Auth::Pairing> code = {}; // of the newest one, once the service has given it
    Event outcome = {};    // the line of the log that the last one ended with; empty when it ended silently
    bool accepted = false; // by the service: this computer has its token

    bool operator==(const SignInView &) const = default;
};

} // namespace ombru
