// Secrets of the owner's, in the store that the desktop keeps for them, or in files of ours where there is none; one
// text a key. Any thread but the main one: the store may ask the owner to unlock it, who may take minutes. Nothing here
// is ever logged.
#pragma once
#include <QString>

#include <optional>

namespace ombru {

// None when there is none, when it is no UTF-8, when the owner does not unlock the store, and when it cannot be used.
std::optional<QString> secret(const QString &key);

// Replaces it; none takes it away. False when it is not kept: the owner does not unlock the store, or it cannot be
// used.
bool setSecret(const QString &key, const std::optional<QString> &value);

// Whether that store has any secret of ours, be it locked. Asks the owner nothing.
bool hasSecrets();

// Takes all of them out of that store. False when some are left: it is locked, or cannot be used.
bool forgetSecrets();

// The directory of the files that stand in for a store; none while the desktop has one.
std::optional<QString> secretDirectory();

} // namespace ombru
