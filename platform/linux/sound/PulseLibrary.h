// libpulse, which speaks to PulseAudio and to PipeWire alike. Loaded when sound is first asked for: no other command
// needs it, nor what it brings along. Any thread.
#pragma once
#include <pulse/pulseaudio.h>

namespace ombru {

struct PulseLibrary {
    // Null where it is not installed.
    static const PulseLibrary *get();

    decltype(&pa_threaded_mainloop_new) loopNew;
    decltype(&pa_threaded_mainloop_free) loopFree;
    decltype(&pa_threaded_mainloop_get_api) loopApi;
    decltype(&pa_threaded_mainloop_start) loopStart;
    decltype(&pa_threaded_mainloop_stop) loopStop;
    decltype(&pa_context_new) contextNew;
    decltype(&pa_context_unref) contextUnref;
    decltype(&pa_context_connect) connect;
    decltype(&pa_context_disconnect) disconnect;
    decltype(&pa_context_get_state) contextState;
    decltype(&pa_context_set_state_callback) onContextState;
    decltype(&pa_context_errno) lastError;
    decltype(&pa_context_subscribe) subscribe;
    decltype(&pa_context_set_subscribe_callback) onChange;
    decltype(&pa_context_get_server_info) serverInfo;
    decltype(&pa_context_get_sink_info_by_name) outputInfo;
    decltype(&pa_operation_unref) operationUnref;
    decltype(&pa_proplist_new) propertiesNew;
    decltype(&pa_proplist_free) propertiesFree;
    decltype(&pa_proplist_sets) setProperty;
    decltype(&pa_stream_new_with_proplist) streamNew;
    decltype(&pa_stream_unref) streamUnref;
    decltype(&pa_stream_connect_record) record;
    decltype(&pa_stream_disconnect) streamDisconnect;
    decltype(&pa_stream_get_state) streamState;
    decltype(&pa_stream_set_state_callback) onStreamState;
    decltype(&pa_stream_set_read_callback) onReadable;
    decltype(&pa_stream_readable_size) readableSize;
    decltype(&pa_stream_peek) peek;
    decltype(&pa_stream_drop) drop;
    decltype(&pa_strerror) words;
};

} // namespace ombru
