#include "app/resident/OwnerData.h"

#include "agent/Claude.h"
#include "controller/WorkDirectory.h"
#include "platform/LoginItem.h"
#include "platform/SystemLog.h"
#include "settings/Settings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

bool isThere(const QFileInfo &file) {
    return file.exists() || file.isSymLink();
}

} // namespace

std::vector<OwnerData> ownerData() {
    const auto work = workDirectoryPath();
    std::vector<OwnerData> all{
        {QFileInfo(Settings::defaultFile()).path(), u"the settings"_s},
        {work, u"what you have decided about applications, screenshots, secrets"_s},
        {stateDirectory(), u"the event log, and which conversation the last task was part of"_s},
        {loginItemPath(), u"the start at login"_s},
        {Claude::conversationsPath(work), u"what claude keeps about ombru's tasks"_s},
    };
    std::erase_if(all, [](const auto &data) { return !isThere(QFileInfo(data.path)); });
    return all;
}

Result<> remove(const OwnerData &data) {
    const QFileInfo file(data.path);
    const bool done =
        file.isDir() && !file.isSymLink() ? QDir(data.path).removeRecursively() : QFile::remove(data.path);
    if (done)
        return {};
    return std::unexpected(Failure{u"uninstall"_s, 1, u"%1 could not be removed."_s.arg(data.path)});
}

} // namespace ombru
