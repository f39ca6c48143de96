// Which processes run programs of ours: by the places that the build fixed, and the files there. A name tells nothing,
// and neither does what lies beside a copy. Any thread.
#pragma once
#include <QString>
#include <QStringList>

namespace ombru {

enum class Kinship {
    none,
    claimed, // its path is the application's, or once was
    proven,  // and it is the very file that lies there now, beside this program
};

// Of the process with that directory, "/proc/1234", to the application: `ombru`, or its privacy settings.
Kinship kinshipOf(const QString &process);

// Whether this program was put where programs of ours are for good. False in the directory that it was built in: there
// it follows its environment, as tests need it.
bool isInstalled();

} // namespace ombru
