#include "platform/RuntimeDirectory.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

Result<QString> runtimeDirectory() {
    return FakePlatform::instance().runtimeDirectory;
}

} // namespace ombru
