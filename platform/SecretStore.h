// Secrets of the owner's, in the store that the desktop keeps for them, one text a key. Any thread but the main one:
// the store may ask the owner to unlock it; a call gives up after some seconds of silence. Nothing here is ever logged.
#pragma once
#include <QString>

#include <optional>

namespace ombru {

// None when there is none, when it is no UTF-8, and when the store cannot be used.
std::optional<QString> secret(const QString &key);

// Replaces it; none takes it away. What the store cannot do stays undone, silently.
void setSecret(const QString &key, const std::optional<QString> &value);

} // namespace ombru
