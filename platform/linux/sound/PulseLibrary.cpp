#include "platform/linux/sound/PulseLibrary.h"

#include "platform/linux/system/SharedLibrary.h"

#include <optional>

namespace ombru {
namespace {

bool findConnection(const SharedLibrary &library, PulseLibrary &found) {
    return library.find("pa_threaded_mainloop_new", found.loopNew) &&
           library.find("pa_threaded_mainloop_free", found.loopFree) &&
           library.find("pa_threaded_mainloop_get_api", found.loopApi) &&
           library.find("pa_threaded_mainloop_start", found.loopStart) &&
           library.find("pa_threaded_mainloop_stop", found.loopStop) &&
           library.find("pa_context_new", found.contextNew) && library.find("pa_context_unref", found.contextUnref) &&
           library.find("pa_context_connect", found.connect) &&
           library.find("pa_context_disconnect", found.disconnect) &&
           library.find("pa_context_get_state", found.contextState) &&
           library.find("pa_context_set_state_callback", found.onContextState) &&
           library.find("pa_context_errno", found.lastError) && library.find("pa_context_subscribe", found.subscribe) &&
           library.find("pa_context_set_subscribe_callback", found.onChange) &&
           library.find("pa_context_get_server_info", found.serverInfo) &&
           library.find("pa_context_get_sink_info_by_name", found.outputInfo) &&
           library.find("pa_operation_unref", found.operationUnref) && library.find("pa_strerror", found.words);
}

bool findStream(const SharedLibrary &library, PulseLibrary &found) {
    return library.find("pa_proplist_new", found.propertiesNew) &&
           library.find("pa_proplist_free", found.propertiesFree) &&
           library.find("pa_proplist_sets", found.setProperty) &&
           library.find("pa_stream_new_with_proplist", found.streamNew) &&
           library.find("pa_stream_unref", found.streamUnref) &&
           library.find("pa_stream_connect_record", found.record) &&
           library.find("pa_stream_disconnect", found.streamDisconnect) &&
           library.find("pa_stream_get_state", found.streamState) &&
           library.find("pa_stream_set_state_callback", found.onStreamState) &&
           library.find("pa_stream_set_read_callback", found.onReadable) &&
           library.find("pa_stream_readable_size", found.readableSize) && library.find("pa_stream_peek", found.peek) &&
           library.find("pa_stream_drop", found.drop);
}

std::optional<PulseLibrary> load() {
    const SharedLibrary library("libpulse.so.0");
    PulseLibrary found{};
    const bool whole = findConnection(library, found) && findStream(library, found);
    return whole ? std::optional(found) : std::nullopt;
}

} // namespace

const PulseLibrary *PulseLibrary::get() {
    static const std::optional<PulseLibrary> library = load();
    return library ? &*library : nullptr;
}

} // namespace ombru
