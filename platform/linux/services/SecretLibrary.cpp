#include "platform/linux/services/SecretLibrary.h"

#include "platform/linux/system/SharedLibrary.h"

#include <optional>

namespace ombru {
namespace {

std::optional<SecretLibrary> load() {
    const SharedLibrary library("libsecret-1.so.0");
    SecretLibrary found{};
    const bool whole =
        library.find("g_bus_get_sync", found.busGet) &&
        library.find("g_dbus_connection_set_exit_on_close", found.setExitOnClose) &&
        library.find("g_cancellable_new", found.cancellableNew) && library.find("g_cancellable_cancel", found.cancel) &&
        library.find("g_object_unref", found.objectUnref) && library.find("g_hash_table_unref", found.tableUnref) &&
        library.find("g_list_free_full", found.listFree) && library.find("g_clear_error", found.clearError) &&
        library.find("secret_attributes_build", found.attributesBuild) &&
        library.find("secret_service_get_type", found.serviceType) &&
        library.find("secret_service_open_sync", found.open) &&
        library.find("secret_service_lookup_sync", found.lookup) &&
        library.find("secret_service_search_sync", found.search) &&
        library.find("secret_service_store_sync", found.store) &&
        library.find("secret_service_clear_sync", found.clear) &&
        library.find("secret_item_delete_sync", found.itemDelete) && library.find("secret_value_new", found.valueNew) &&
        library.find("secret_value_get", found.valueGet) && library.find("secret_value_unref", found.valueUnref);
    return whole ? std::optional(found) : std::nullopt;
}

} // namespace

const SecretLibrary *SecretLibrary::get() {
    static const std::optional<SecretLibrary> library = load();
    return library ? &*library : nullptr;
}

} // namespace ombru
