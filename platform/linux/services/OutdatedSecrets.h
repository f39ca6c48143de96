// Keys whose secret counts no more although the store may still have it, because it is locked or cannot be reached: a
// file each, so that no later start takes it for the owner's will. Blocking; any thread, any process.
#pragma once
#include <QString>

#include <functional>

namespace ombru {

bool noteOutdated(const QString &key); // false when that cannot be written down, which the log says
bool isOutdated(const QString &key);
bool isAnyOutdated();

// Forgets the note when this says that the store has nothing under that key. Nobody else settles the key meanwhile.
// True when there is no note, or none any more.
bool settleOutdated(const QString &key, const std::function<bool()> &isGone);

} // namespace ombru
