#include "platform/HostInfo.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

QString hostName() {
    return FakePlatform::instance().hostName;
}

QString systemName() {
    return QStringLiteral("Fake");
}

} // namespace ombru
