#include "platform/SecretStore.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

std::optional<QString> secret(const QString &key) {
    if (const auto before = FakePlatform::instance().desktop.lock()->beforeTellingSecrets)
        before();
    const auto desktop = FakePlatform::instance().desktop.lock();
    if (desktop->secretsLocked)
        return std::nullopt;
    if (desktop->outdatedSecrets.erase(key) > 0)
        desktop->secrets.erase(key);
    const auto found = desktop->secrets.find(key);
    return found == desktop->secrets.end() ? std::nullopt : std::optional(found->second);
}

bool setSecret(const QString &key, const std::optional<QString> &value) {
    const auto desktop = FakePlatform::instance().desktop.lock();
    const bool stays = desktop->secretsLocked && desktop->secrets.contains(key);
    const bool kept = !stays && (!value || (desktop->keepsSecrets && !desktop->secretsLocked));
    if (!stays)
        desktop->secrets.erase(key);
    if (kept && value)
        desktop->secrets[key] = *value;
    if (kept)
        desktop->outdatedSecrets.erase(key);
    else
        desktop->outdatedSecrets.insert(key);
    return kept;
}

bool storeLagsBehind() {
    return !FakePlatform::instance().desktop.lock()->outdatedSecrets.empty();
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
