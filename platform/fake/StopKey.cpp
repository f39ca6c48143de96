#include "platform/StopKey.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

class StopKey::Watch {};

StopKey::StopKey(const KeyCombination &keys, std::function<void()> onPress) {
    FakePlatform::instance().stopKey = FakePlatform::WantedKey{keys, std::move(onPress)};
}

StopKey::~StopKey() {
    FakePlatform::instance().stopKey.reset();
}

bool StopKey::works() const {
    return FakePlatform::instance().stopKeyWorks;
}

Result<> stopKeyUsable(const KeyCombination &) {
    return FakePlatform::instance().stopKeyUsable;
}

} // namespace ombru
