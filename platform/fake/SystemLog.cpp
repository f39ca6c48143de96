#include "platform/SystemLog.h"

#include "platform/fake/FakePlatform.h"

#include <mutex>

namespace ombru {

void systemLog(LogLevel level, const QString &subsystem, const QString &category, const QString &text) {
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    FakePlatform::instance().logged.push_back({level, subsystem, category, text});
}

} // namespace ombru
