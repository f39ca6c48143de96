// What the owner called this computer: the file for that of systemd's machines, or the network's name. Blocking; any
// thread.
#pragma once
#include <QString>

namespace ombru {

// By that file, or without a name there; empty when there is neither.
QString hostNameBy(const QString &machineInfo);

} // namespace ombru
