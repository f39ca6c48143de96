// The variables that a program is started with. Any thread, as long as nobody changes this process's.
#pragma once
#include <QByteArray>

#include <map>

namespace ombru {

using Environment = std::map<QByteArray, QByteArray>;

// The variables that this process was started with, as they are now.
Environment ownEnvironment();

// Those for a program that is opened for the owner: with the mark that it is no part of the task. See base/Program.h.
Environment ownersEnvironment();

} // namespace ombru
