#include "platform/linux/sound/PulseLibrary.h"

#include <dlfcn.h>
#include <optional>

namespace ombru {
namespace {

template <class Function>
bool find(void *library, const char *name, Function &function) {
    function = reinterpret_cast<Function>(::dlsym(library, name));
    return function != nullptr;
}

bool findConnection(void *library, PulseLibrary &found) {
    return find(library, "pa_threaded_mainloop_new", found.loopNew) &&
           find(library, "pa_threaded_mainloop_free", found.loopFree) &&
           find(library, "pa_threaded_mainloop_get_api", found.loopApi) &&
           find(library, "pa_threaded_mainloop_start", found.loopStart) &&
           find(library, "pa_threaded_mainloop_stop", found.loopStop) &&
           find(library, "pa_context_new", found.contextNew) && find(library, "pa_context_unref", found.contextUnref) &&
           find(library, "pa_context_connect", found.connect) &&
           find(library, "pa_context_disconnect", found.disconnect) &&
           find(library, "pa_context_get_state", found.contextState) &&
           find(library, "pa_context_set_state_callback", found.onContextState) &&
           find(library, "pa_context_errno", found.lastError) &&
           find(library, "pa_context_subscribe", found.subscribe) &&
           find(library, "pa_context_set_subscribe_callback", found.onChange) &&
           find(library, "pa_context_get_server_info", found.serverInfo) &&
           find(library, "pa_operation_unref", found.operationUnref) && find(library, "pa_strerror", found.words);
}

bool findStream(void *library, PulseLibrary &found) {
    return find(library, "pa_stream_new", found.streamNew) && find(library, "pa_stream_unref", found.streamUnref) &&
           find(library, "pa_stream_connect_record", found.record) &&
           find(library, "pa_stream_disconnect", found.streamDisconnect) &&
           find(library, "pa_stream_get_state", found.streamState) &&
           find(library, "pa_stream_set_state_callback", found.onStreamState) &&
           find(library, "pa_stream_set_read_callback", found.onReadable) &&
           find(library, "pa_stream_readable_size", found.readableSize) &&
           find(library, "pa_stream_peek", found.peek) && find(library, "pa_stream_drop", found.drop);
}

std::optional<PulseLibrary> load() {
    // Never unloaded: it registers things that outlive any use of ours.
    void *library = ::dlopen("libpulse.so.0", RTLD_NOW | RTLD_NODELETE);
    PulseLibrary found{};
    const bool whole = library && findConnection(library, found) && findStream(library, found);
    return whole ? std::optional(found) : std::nullopt;
}

} // namespace

const PulseLibrary *PulseLibrary::get() {
    static const std::optional<PulseLibrary> library = load();
    return library ? &*library : nullptr;
}

} // namespace ombru
