// Which files are programs: what opens one may run it. Reads the file; any thread.
#pragma once
#include <QString>

namespace ombru {

// Whether a regular file, or what a link leads to, is a desktop entry, an executable or a script, by its name or by its
// content; not by its mode, since some desktops run what is not executable.
bool isProgramFile(const QString &path);

} // namespace ombru
