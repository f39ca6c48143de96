#include "platform/OwnerShell.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

OwnerShell ownerShell(const QString &) {
    return FakePlatform::instance().ownerShell;
}

} // namespace ombru
