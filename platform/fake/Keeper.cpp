#include "platform/Keeper.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

QString keeperPath() {
    return FakePlatform::instance().keeper;
}

QString inputReleasePath() {
    return FakePlatform::instance().inputRelease;
}

} // namespace ombru
