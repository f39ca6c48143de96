// One conversation with the desktop's store of secrets about one key, or about all of ours without one. The store may
// ask the owner, who may take hours. One thread.
#pragma once
#include <libsecret/secret.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ombru::secrets {

class Conversation {
public:
    // Without a key about all. It is broken off when that is cancelled, and so is what the owner is asked then.
    Conversation(const char *key, GCancellable *cancellable);

    std::optional<std::string> lookUp() const;
    // None when that cannot be told.
    std::optional<bool> isThere() const;
    // What is not locked. Asks the owner nothing. False when something is left, or when that cannot be told.
    bool clearUnlocked() const;
    // All there is, once the owner has unlocked it. False as above.
    bool remove() const;
    bool store(std::string_view value) const;

private:
    struct Unref {
        void operator()(gpointer object) const { g_object_unref(object); }
        void operator()(GHashTable *table) const { g_hash_table_unref(table); }
        void operator()(SecretValue *value) const { secret_value_unref(value); }
        void operator()(GList *items) const { g_list_free_full(items, g_object_unref); }
    };
    template <class T>
    using Owned = std::unique_ptr<T, Unref>;
    std::optional<Owned<GList>> search(int flags) const;

    std::string m_account;
    GCancellable *m_cancellable;
    Owned<GHashTable> m_attributes;
    Owned<SecretService> m_service; // null when there is none
};

} // namespace ombru::secrets
