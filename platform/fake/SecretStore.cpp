#include "platform/SecretStore.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

std::optional<QString> secret(const QString &key) {
    if (const auto before = FakePlatform::instance().desktop.lock()->beforeTellingSecrets)
        before();
    const auto desktop = FakePlatform::instance().desktop.lock();
    const auto found = desktop->secrets.find(key);
    return found == desktop->secrets.end() ? std::nullopt : std::optional(found->second);
}

bool setSecret(const QString &key, const std::optional<QString> &value) {
    const auto desktop = FakePlatform::instance().desktop.lock();
    if (!value)
        desktop->secrets.erase(key);
    else if (desktop->keepsSecrets)
        desktop->secrets[key] = *value;
    return !value || desktop->keepsSecrets;
}

bool hasSecrets() {
    return !FakePlatform::instance().desktop.lock()->secrets.empty();
}

bool forgetSecrets() {
    FakePlatform::instance().desktop.lock()->secrets.clear();
    return true;
}

std::optional<QString> secretDirectory() {
    return FakePlatform::instance().desktop.lock()->secretDirectory;
}

} // namespace ombru
