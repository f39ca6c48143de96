#include "app/cli/PlacesCheck.h"

#include "base/WholeFile.h"
#include "controller/WorkDirectory.h"
#include "platform/RuntimeDirectory.h"
#include "platform/SystemLog.h"
#include "settings/Settings.h"

#include <QFile>
#include <QFileInfo>

#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

QString nearestThatIsThere(QString path) {
    while (path != u"/"_s && !QFileInfo::exists(path))
        path = QFileInfo(path).path();
    return path;
}

} // namespace

Check checkPlace(const QString &directory) {
    const QByteArray enough(4096, ' '); // a disk that is full may still take a name
    const auto file = nearestThatIsThere(directory) + u"/.ombru-tries-%1"_s.arg(::getpid());
    const auto written = writeWholeFile(file, enough);
    QFile::remove(file);
    if (written)
        return {true, u"can be written in %1"_s.arg(directory), {}};
    return {false, u"cannot be written in %1: %2"_s.arg(directory, written.error().description.section(u": "_s, -1)),
            u"Make room on its disk, and make the directory yours to write in."_s};
}

std::vector<PlaceCheck> checkPlaces() {
    const auto runtime = runtimeDirectory();
    return {{u"settings"_s, checkPlace(QFileInfo(Settings::defaultFile()).path())},
            {u"data"_s, checkPlace(workDirectoryPath())},
            {u"state"_s, checkPlace(stateDirectory())},
            {u"runtime"_s, runtime ? checkPlace(*runtime)
                                   : Check{false, runtime.error().description,
                                           u"Point XDG_RUNTIME_DIR at a directory of your own."_s}}};
}

} // namespace ombru
