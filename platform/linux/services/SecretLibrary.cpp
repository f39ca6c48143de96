#include "platform/linux/services/SecretLibrary.h"

#include <dlfcn.h>
#include <optional>

namespace ombru {
namespace {

template <class Function>
bool find(void *library, const char *name, Function &function) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    return function != nullptr;
}

std::optional<SecretLibrary> load() {
    // Never unloaded: it registers things that outlive any use of ours.
    void *library = ::dlopen("libsecret-1.so.0", RTLD_NOW | RTLD_NODELETE);
    if (!library)
        return std::nullopt;
    SecretLibrary found{};
    const bool whole =
        find(library, "g_bus_get_sync", found.busGet) &&
        find(library, "g_dbus_connection_set_exit_on_close", found.setExitOnClose) &&
        find(library, "g_cancellable_new", found.cancellableNew) &&
        find(library, "g_cancellable_cancel", found.cancel) && find(library, "g_object_unref", found.objectUnref) &&
        find(library, "g_hash_table_unref", found.tableUnref) && find(library, "g_list_free_full", found.listFree) &&
        find(library, "secret_attributes_build", found.attributesBuild) &&
        find(library, "secret_service_get_type", found.serviceType) &&
        find(library, "secret_service_open_sync", found.open) &&
        find(library, "secret_service_lookup_sync", found.lookup) &&
        find(library, "secret_service_search_sync", found.search) &&
        find(library, "secret_service_store_sync", found.store) &&
        find(library, "secret_service_clear_sync", found.clear) && find(library, "secret_value_new", found.valueNew) &&
        find(library, "secret_value_get", found.valueGet) && find(library, "secret_value_unref", found.valueUnref);
    return whole ? std::optional(found) : std::nullopt;
}

} // namespace

const SecretLibrary *SecretLibrary::get() {
    static const std::optional<SecretLibrary> library = load();
    return library ? &*library : nullptr;
}

} // namespace ombru
