#include "platform/HostInfo.h"

#include "platform/linux/system/MachineInfo.h"

namespace ombru {

using namespace Qt::StringLiterals;

QString hostName() {
    return hostNameBy(u"/etc/machine-info"_s);
}

QString systemName() {
    return u"Linux"_s;
}

} // namespace ombru
