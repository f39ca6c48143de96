// Secrets of the owner's, in the store that the desktop keeps for them, or in files of ours where there is none; one
// text a key. Any thread but the main one: the store may ask the owner to unlock it, who may take minutes. Nothing here
// is ever logged.
#pragma once
#include <QString>

#include <optional>

namespace ombru {

// None when there is none, when it is no UTF-8, when the owner does not unlock the store, and when it cannot be used.
std::optional<QString> secret(const QString &key);

// Replaces it; none takes it away. Asks the owner to unlock the store for that. False when the store has not done so:
// its owner does not unlock it, or it cannot be used. What it then still has under that key is told no more, also after
// the next start, and is deleted by the first look that finds it unlocked.
bool setSecret(const QString &key, const std::optional<QString> &value);

// Whether the desktop's store has not taken a change, and nobody has seen it unlocked since. Asks the owner nothing.
bool storeLagsBehind();

// Whether that store has any secret of ours, be it locked. Asks the owner nothing.
bool hasSecrets();

// Takes all of them out of that store, which its owner is asked to unlock for that. False when some are left: it is
// locked, or cannot be used.
bool forgetSecrets();

// The directory of the files that stand in for a store; none while the desktop has one.
std::optional<QString> secretDirectory();

} // namespace ombru
