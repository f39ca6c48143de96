// How operations fail here: with a value. A Failure says what happened, where, and what to do about it, in words that
// may be shown to the owner as they stand.
#pragma once
#include <QString>

#include <expected>

namespace ombru {

struct Failure {
    QString domain;      // who failed: "screen", "claude", "process" ...
    int code = 0;        // the domain's own number; errno for "process"
    QString description; // one sentence for the owner

    bool operator==(const Failure &) const = default;
};

template <class T = void>
using Result = std::expected<T, Failure>;

} // namespace ombru
