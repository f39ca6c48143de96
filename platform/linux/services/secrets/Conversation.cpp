#include "platform/linux/services/secrets/Conversation.h"

namespace ombru::secrets {

namespace {

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

} // namespace

Conversation::Conversation(const char *key, GCancellable *cancellable)
    : m_account(key ? key : ""), m_cancellable(cancellable),
      m_attributes(secret_attributes_build(&SCHEMA, "service", SERVICE, key ? "account" : nullptr, key, nullptr)) {
    const Owned<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, m_cancellable, nullptr));
    if (!bus)
        return;
    // Otherwise a bus that ends would end this program, which has an answer then, too.
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    m_service.reset(
        secret_service_open_sync(secret_service_get_type(), nullptr, SECRET_SERVICE_NONE, m_cancellable, nullptr));
}

std::optional<std::string> Conversation::lookUp() const {
    if (!m_service)
        return std::nullopt;
    const Owned<SecretValue> value(
        secret_service_lookup_sync(m_service.get(), &SCHEMA, m_attributes.get(), m_cancellable, nullptr));
    if (!value)
        return std::nullopt;
    gsize length = 0;
    const char *bytes = secret_value_get(value.get(), &length);
    return std::string(bytes, length);
}

std::optional<bool> Conversation::isThere() const {
    const auto found = search(SECRET_SEARCH_NONE);
    return found ? std::optional(*found != nullptr) : std::nullopt;
}

bool Conversation::clearUnlocked() const {
    if (m_service)
        secret_service_clear_sync(m_service.get(), &SCHEMA, m_attributes.get(), m_cancellable, nullptr);
    return isThere() == false;
}

bool Conversation::remove() const {
    const auto found = search(SECRET_SEARCH_ALL | SECRET_SEARCH_UNLOCK);
    for (const GList *item = found ? found->get() : nullptr; item; item = item->next)
        secret_item_delete_sync(static_cast<SecretItem *>(item->data), m_cancellable, nullptr);
    return isThere() == false;
}

bool Conversation::store(std::string_view value) const {
    if (!m_service)
        return false;
    const Owned<SecretValue> kept(secret_value_new(value.data(), static_cast<gssize>(value.size()), "text/plain"));
    return secret_service_store_sync(m_service.get(), &SCHEMA, m_attributes.get(), SECRET_COLLECTION_DEFAULT,
                                     ("ombru: " + m_account).c_str(), kept.get(), m_cancellable, nullptr);
}

std::optional<Conversation::Owned<GList>> Conversation::search(int flags) const {
    if (!m_service)
        return std::nullopt;
    GError *error = nullptr;
    Owned<GList> found(secret_service_search_sync(m_service.get(), &SCHEMA, m_attributes.get(),
                                                  static_cast<SecretSearchFlags>(flags), m_cancellable, &error));
    if (!error)
        return found;
    g_clear_error(&error);
    return std::nullopt;
}

} // namespace ombru::secrets
