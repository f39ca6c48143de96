// One function out of several, for std::visit: a lambda for each alternative.
#pragma once

namespace ombru::applescript {

template <class... Cases>
struct Overloaded : Cases... {
    using Cases::operator()...;
};

} // namespace ombru::applescript
