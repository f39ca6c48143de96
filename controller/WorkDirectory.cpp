#include "controller/WorkDirectory.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

namespace ombru {

QString workDirectory() {
    const auto path = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/ombru");
    if (QDir().mkpath(path))
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

} // namespace ombru
