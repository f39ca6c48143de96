// The owner's secrets, for this system's own use. Any thread but the main one; gives up after some seconds.
#pragma once
#include <QString>

#include <chrono>
#include <optional>

namespace ombru {

// Whether there is a secret under that key that counts, be it locked. Asks the owner nothing. False when the store cannot be used.
bool hasSecret(const QString &key);

// secret(), with a limit of the caller's for the store and for an owner who is asked to unlock it.
std::optional<QString> secretWithin(std::chrono::nanoseconds limit, const QString &key);

} // namespace ombru
