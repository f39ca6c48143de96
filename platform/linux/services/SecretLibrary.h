// libsecret, and what is used of the libraries under it. Loaded when a secret is first asked for: most commands need
// none, and loading it takes a fifth of the time of the shortest. Any thread.
#pragma once
#include <libsecret/secret.h>

namespace ombru {

struct SecretLibrary {
    // Null where it is not installed.
    static const SecretLibrary *get();

    decltype(&g_bus_get_sync) busGet;
    decltype(&g_dbus_connection_set_exit_on_close) setExitOnClose;
    decltype(&g_cancellable_new) cancellableNew;
    decltype(&g_cancellable_cancel) cancel;
    decltype(&g_object_unref) objectUnref;
    decltype(&g_hash_table_unref) tableUnref;
    decltype(&g_list_free_full) listFree;
    decltype(&g_clear_error) clearError;
    decltype(&secret_attributes_build) attributesBuild;
    decltype(&secret_service_get_type) serviceType;
    decltype(&secret_service_open_sync) open;
    decltype(&secret_service_lookup_sync) lookup;
    decltype(&secret_service_search_sync) search;
    decltype(&secret_service_store_sync) store;
    decltype(&secret_service_clear_sync) clear;
    decltype(&secret_item_delete_sync) itemDelete;
    decltype(&secret_value_new) valueNew;
    decltype(&secret_value_get) valueGet;
    decltype(&secret_value_unref) valueUnref;
};

} // namespace ombru
