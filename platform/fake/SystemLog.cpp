#include "platform/SystemLog.h"

#include "platform/fake/FakePlatform.h"

#include <QDir>

#include <mutex>

namespace ombru {

void systemLog(LogLevel level, const QString &subsystem, const QString &category, const QString &text) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    FakePlatform::instance().logged.push_back({level, subsystem, category, text});
}

QString lostLog() {
    return {};
}

QString stateDirectory() {
    return QDir::homePath() + QStringLiteral("/.local/state/ombru"); // of the test's home, as its other files
}

QString logCommand() {
    return QStringLiteral("show the log");
}

} // namespace ombru
