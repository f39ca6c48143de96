#include "platform/fake/FakePlatform.h"

namespace ombru {

FakePlatform &FakePlatform::instance() {
    static FakePlatform platform;
    return platform;
}

} // namespace ombru
