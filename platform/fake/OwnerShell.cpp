#include "platform/OwnerShell.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

OwnerShell ownerShell() {
    return FakePlatform::instance().ownerShell;
}

} // namespace ombru
