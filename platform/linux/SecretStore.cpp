#include "platform/SecretStore.h"

#include "base/WholeFile.h"
#include "platform/SystemLog.h"
#include "platform/linux/services/BusNames.h"
#include "platform/linux/services/OutdatedSecrets.h"
#include "platform/linux/services/SecretItems.h"
#include "platform/linux/services/SecretLibrary.h"
#include "platform/linux/services/SessionBusAddress.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QStringDecoder>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr auto LIMIT = std::chrono::hours(24);          // for an owner who is asked to unlock the store, and is away
constexpr auto FINDING_LIMIT = std::chrono::seconds(5); // for a bus that is asked whether there is one
constexpr const char *STORE = "org.freedesktop.secrets";
constexpr const char *SERVICE = "com.ombru.mac";

// The attributes tell an item from others, not the schema's name: other programs may have stored it under their own.
const SecretSchema SCHEMA = {SERVICE,
                             SECRET_SCHEMA_DONT_MATCH_NAME,
                             {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                              {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                             0,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr,
                             nullptr};

std::optional<QString> decoded(QByteArrayView bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    return decoder.hasError() ? std::nullopt : std::optional(text);
}

// One conversation with the store about one key, or about all without one, which is broken off when the limit passes.
// Each asks for the connection anew, so that a bus that was restarted is found again.
class Conversation {
public:
    Conversation(const SecretLibrary &library, const QString &key, std::chrono::nanoseconds limit)
        : m_library(library), m_limit(limit), m_account(key.toUtf8()), m_cancellable(library.cancellableNew(), unref()),
          m_bus(library.busGet(G_BUS_TYPE_SESSION, m_cancellable.get(), nullptr), unref()), m_service(nullptr, unref()),
          m_attributes(library.attributesBuild(&SCHEMA, "service", SERVICE, key.isEmpty() ? nullptr : "account",
                                               m_account.constData(), nullptr),
                       library.tableUnref) {
        if (!m_bus)
            return;
        // Otherwise a bus that ends would end this program.
        library.setExitOnClose(m_bus.get(), FALSE);
        m_service.reset(
            library.open(library.serviceType(), nullptr, SECRET_SERVICE_NONE, m_cancellable.get(), nullptr));
    }
    Conversation(const Conversation &) = delete; // its watch knows it by its place
    Conversation &operator=(const Conversation &) = delete;

    std::optional<QString> lookup() const {
        if (!m_service)
            return std::nullopt;
        const std::unique_ptr<SecretValue, void (*)(gpointer)> value(
            m_library.lookup(m_service.get(), &SCHEMA, m_attributes.get(), m_cancellable.get(), nullptr),
            m_library.valueUnref);
        if (!value)
            return std::nullopt;
        gsize length = 0;
        const char *bytes = m_library.valueGet(value.get(), &length);
        return decoded(QByteArrayView(bytes, static_cast<qsizetype>(length)));
    }

    // None when that cannot be told.
    std::optional<bool> isThere() const {
        const auto found = search(SECRET_SEARCH_NONE);
        return found ? std::optional(*found != nullptr) : std::nullopt;
    }

    // What is not locked. Asks the owner nothing. False when something is left, or when that cannot be told.
    bool clearUnlocked() const {
        if (m_service)
            m_library.clear(m_service.get(), &SCHEMA, m_attributes.get(), m_cancellable.get(), nullptr);
        return isThere() == false;
    }

    // All there is, once the owner has unlocked it. False as above.
    bool remove() const {
        const auto found = search(SECRET_SEARCH_ALL | SECRET_SEARCH_UNLOCK);
        for (const GList *item = found ? found->get() : nullptr; item; item = item->next)
            m_library.itemDelete(static_cast<SecretItem *>(item->data), m_cancellable.get(), nullptr);
        return isThere() == false;
    }

    bool store(const QByteArray &value) const {
        if (!m_service)
            return false;
        const std::unique_ptr<SecretValue, void (*)(gpointer)> kept(
            m_library.valueNew(value.constData(), value.size(), "text/plain"), m_library.valueUnref);
        return m_library.store(m_service.get(), &SCHEMA, m_attributes.get(), SECRET_COLLECTION_DEFAULT,
                               ("ombru: " + m_account).constData(), kept.get(), m_cancellable.get(), nullptr);
    }

private:
    template <class T>
    using Owned = std::unique_ptr<T, void (*)(gpointer)>;
    auto unref() const -> void (*)(gpointer) { return m_library.objectUnref; }

    struct ListFree {
        const SecretLibrary *library;
        void operator()(GList *list) const { library->listFree(list, library->objectUnref); }
    };
    using Items = std::unique_ptr<GList, ListFree>;

    std::optional<Items> search(int flags) const {
        if (!m_service)
            return std::nullopt;
        GError *error = nullptr;
        Items found(m_library.search(m_service.get(), &SCHEMA, m_attributes.get(),
                                     static_cast<SecretSearchFlags>(flags), m_cancellable.get(), &error),
                    {&m_library});
        if (!error)
            return found;
        m_library.clearError(&error);
        return std::nullopt;
    }

    void cancelLate(const std::stop_token &stop) const {
        std::mutex mutex;
        std::unique_lock lock(mutex);
        std::condition_variable_any over;
        over.wait_for(lock, stop, m_limit, [] { return false; });
        if (!stop.stop_requested())
            m_library.cancel(m_cancellable.get());
    }

    const SecretLibrary &m_library;
    std::chrono::nanoseconds m_limit;
    QByteArray m_account;
    Owned<GCancellable> m_cancellable;
    std::jthread m_watch{[this](const std::stop_token &stop) { cancelLate(stop); }};
    Owned<GDBusConnection> m_bus;
    Owned<SecretService> m_service;
    std::unique_ptr<GHashTable, void (*)(GHashTable *)> m_attributes;
};

// None without a library or a bus. Without a bus's address the library would start one of its own.
std::optional<Conversation> talkAbout(const QString &key, std::chrono::nanoseconds limit = LIMIT) {
    const SecretLibrary *library = SecretLibrary::get();
    if (!library || sessionBusAddress().isEmpty())
        return std::nullopt;
    return std::optional<Conversation>(std::in_place, *library, key, limit);
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
    return SecretLibrary::get() && sessionServiceIsThere(STORE, FINDING_LIMIT);
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
    return conversation->lookup();
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
