// What is known of the owner's secrets without opening them. Any thread but the main one; gives up after some seconds.
#pragma once
#include <QString>

namespace ombru {

// Whether there is a secret under that key, be it locked. Asks the owner nothing. False when the store cannot be used.
bool hasSecret(const QString &key);

} // namespace ombru
