#include "platform/SecretStore.h"

#include "base/WholeFile.h"
#include "platform/SystemLog.h"
#include "platform/linux/services/BusNames.h"
#include "platform/linux/services/OutdatedSecrets.h"
#include "platform/linux/services/SecretHelper.h"
#include "platform/linux/services/SecretItems.h"
#include "platform/linux/services/SessionBusAddress.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QStringDecoder>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr auto LIMIT = std::chrono::hours(24);          // for an owner who is asked to unlock the store, and is away
constexpr auto FINDING_LIMIT = std::chrono::seconds(5); // for a bus that is asked whether there is one
constexpr const char *STORE = "org.freedesktop.secrets";

std::optional<QString> decoded(QByteArrayView bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    return decoder.hasError() ? std::nullopt : std::optional(text);
}

// None without a bus: without its address the helper's library would start one of its own.
std::optional<SecretHelper> talkAbout(const QString &key, Clock::Duration limit = LIMIT) {
    return sessionBusAddress().isEmpty()
               ? std::nullopt
               : std::optional<SecretHelper>(std::in_place, SecretHelper::ours(), key, Clock::now() + limit);
}

// Where a secret is kept without a store, for the owner alone.
QString directory() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/ombru/secrets"_s;
}

QString fileOf(const QString &key) {
    return directory() + u'/' + key;
}

std::optional<QString> inFile(const QString &key) {
    QFile file(fileOf(key));
    return file.open(QFile::ReadOnly) ? decoded(file.readAll()) : std::nullopt;
}

bool setInFile(const QString &key, const std::optional<QString> &value) {
    if (!value)
        return QFile::remove(fileOf(key)) || !QFile::exists(fileOf(key));
    static const bool said = [] {
        logger::notice(
            u"The desktop has no store for secrets: they are kept in %1, for you alone to read."_s.arg(directory()));
        return true;
    }();
    Q_UNUSED(said)
    QDir().mkpath(directory());
    QFile::setPermissions(directory(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const auto written = writeWholeFile(fileOf(key), value->toUtf8());
    if (!written)
        logger::error(written.error().description);
    return written.has_value();
}

bool storeIsThere() {
    return sessionServiceIsThere(STORE, FINDING_LIMIT) &&
           SecretHelper(SecretHelper::ours(), {}, Clock::now() + FINDING_LIMIT).isInstalled();
}

} // namespace

// What was put into a file before the desktop had a store still counts.
std::optional<QString> secret(const QString &key) {
    auto kept = secretWithin(LIMIT, key);
    return kept ? kept : inFile(key);
}

// What counts no more is deleted as soon as that takes no question, and not told before.
std::optional<QString> secretWithin(std::chrono::nanoseconds limit, const QString &key) {
    const auto conversation = talkAbout(key, limit);
    if (!conversation || !settleOutdated(key, [&conversation] { return conversation->clearUnlocked(); }))
        return std::nullopt;
    const auto bytes = conversation->lookUp();
    return bytes ? decoded(*bytes) : std::nullopt;
}

// The note comes first: the owner may take hours to unlock the store, or never do it, and the program may end
// meanwhile. Without a store, one that is only out of reach has an older value.
bool setSecret(const QString &key, const std::optional<QString> &value) {
    const bool noted = noteOutdated(key);
    if (!storeIsThere())
        return setInFile(key, value) && noted;
    const bool noFile = setInFile(key, std::nullopt);
    const auto conversation = talkAbout(key);
    if (!conversation || !conversation->remove())
        return false;
    settleOutdated(key, [] { return true; });
    if (!value)
        return noFile;
    const bool kept = conversation->store(value->toUtf8());
    if (!kept)
        noteOutdated(key);
    return kept && noFile;
}

bool hasSecret(const QString &key) {
    const auto conversation = isOutdated(key) ? std::nullopt : talkAbout(key);
    return conversation && conversation->isThere().value_or(false);
}

bool hasSecrets() {
    const auto conversation = talkAbout({});
    return conversation && conversation->isThere().value_or(false);
}

bool forgetSecrets() {
    const auto conversation = storeIsThere() ? talkAbout({}) : std::nullopt;
    return conversation ? conversation->remove() : !hasSecrets();
}

bool storeLagsBehind() {
    return isAnyOutdated() && storeIsThere();
}

std::optional<QString> secretDirectory() {
    return storeIsThere() ? std::nullopt : std::optional(directory());
}

} // namespace ombru
