#include "controller/WorkDirectory.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace ombru {

QString workDirectoryPath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/ombru");
}

QString workDirectory() {
    const auto path = workDirectoryPath();
    if (QDir().mkpath(path))
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

} // namespace ombru
