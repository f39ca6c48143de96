#include "platform/Diagnosis.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

Task<Check> screenCheck() {
    co_return FakePlatform::instance().screenCheck;
}

Task<Check> inputCheck() {
    co_return FakePlatform::instance().inputCheck;
}

Task<Check> notificationCheck() {
    co_return FakePlatform::instance().notificationCheck;
}

} // namespace ombru
