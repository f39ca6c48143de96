#include "platform/linux/sound/MonitorRecording.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int FRAGMENTS_A_SECOND = 50;
constexpr std::uint32_t USUAL = UINT32_MAX;

} // namespace

MonitorRecording::MonitorRecording(const PulseLibrary &pulse, int rate, Listener listener)
    : m_pulse(pulse), m_rate(rate), m_listener(std::move(listener)), m_loop(pulse.loopNew(), pulse.loopFree),
      m_context(pulse.contextNew(pulse.loopApi(m_loop.get()), "ombru"), pulse.contextUnref),
      m_stream(nullptr, pulse.streamUnref) {}

// The loop's thread has ended before anything is taken down.
MonitorRecording::~MonitorRecording() {
    m_pulse.loopStop(m_loop.get());
    m_over = true;
    closeStream();
    m_pulse.onContextState(m_context.get(), nullptr, nullptr);
    m_pulse.disconnect(m_context.get());
}

Result<> MonitorRecording::begin(std::chrono::nanoseconds limit) {
    m_pulse.onContextState(m_context.get(), [](pa_context *, void *data) { self(data).contextChanged(); }, this);
    if (m_pulse.connect(m_context.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
        return std::unexpected(noSystemAudio());
    if (m_pulse.loopStart(m_loop.get()) < 0)
        return std::unexpected(Failure{u"audio"_s, PA_ERR_INTERNAL, u"The recording has no thread."_s});
    std::unique_lock lock(m_mutex);
    if (!m_settled.wait_for(lock, limit, [this] { return m_outcome.has_value(); }))
        return std::unexpected(Failure{u"audio"_s, PA_ERR_TIMEOUT, u"The sound server does not answer."_s});
    return *m_outcome;
}

void MonitorRecording::contextChanged() {
    const auto state = m_pulse.contextState(m_context.get());
    if (state == PA_CONTEXT_READY)
        return connected();
    if (state != PA_CONTEXT_FAILED)
        return;
    settle(std::unexpected(noSystemAudio()));
    end(lastFailure());
}

void MonitorRecording::connected() {
    m_pulse.onChange(m_context.get(), [](pa_context *, auto, auto, void *data) { self(data).askForOutput(); }, this);
    follow(m_pulse.subscribe(m_context.get(), PA_SUBSCRIPTION_MASK_SERVER, nullptr, nullptr));
    askForOutput();
}

void MonitorRecording::askForOutput() {
    follow(m_pulse.serverInfo(
        m_context.get(),
        [](pa_context *, const pa_server_info *info, void *data) {
            if (info)
                self(data).outputIs(info->default_sink_name ? info->default_sink_name : "");
        },
        this));
}

// The stream stays where it is, since the server would move it to a microphone as well: with the owner's choice a new
// one takes its place.
void MonitorRecording::outputIs(const char *name) {
    if (m_over || (m_stream && m_output == name))
        return;
    m_output = name;
    closeStream();
    if (m_output.empty())
        streamLost(noSystemAudio());
    else
        askForMonitor();
}

// By its name: PipeWire knows no other word for it, and would give the default source, which may be a microphone.
void MonitorRecording::askForMonitor() {
    follow(m_pulse.outputInfo(
        m_context.get(), m_output.c_str(),
        [](pa_context *, const pa_sink_info *info, int end, void *data) {
            if (info)
                self(data).monitorIs(info->name, info->monitor_source_name);
            else if (end < 0)
                self(data).streamLost(self(data).lastFailure());
        },
        this));
}

void MonitorRecording::monitorIs(const char *output, const char *name) {
    if (m_over || m_stream || m_output != output)
        return;
    if (!name)
        streamLost(noSystemAudio());
    else if (!openStream(name))
        streamLost(lastFailure());
}

pa_stream *MonitorRecording::newStream() const {
    const pa_sample_spec format{PA_SAMPLE_FLOAT32NE, static_cast<std::uint32_t>(m_rate), 1};
    const Owned<pa_proplist> properties(m_pulse.propertiesNew(), m_pulse.propertiesFree);
    // Otherwise PipeWire mixes two loud sides into more than the loudest sample.
    m_pulse.setProperty(properties.get(), "channelmix.normalize", "true");
    return m_pulse.streamNew(m_context.get(), "what this computer plays", &format, nullptr, properties.get());
}

bool MonitorRecording::openStream(const char *monitor) {
    // Without a size the server would hand over seconds at once.
    const auto fragment = static_cast<std::uint32_t>(m_rate / FRAGMENTS_A_SECOND * sizeof(float));
    const pa_buffer_attr buffer{USUAL, USUAL, USUAL, USUAL, fragment};
    m_stream.reset(newStream());
    if (!m_stream)
        return false;
    m_pulse.onStreamState(m_stream.get(), [](pa_stream *, void *data) { self(data).streamChanged(); }, this);
    m_pulse.onReadable(m_stream.get(), [](pa_stream *, std::size_t, void *data) { self(data).read(); }, this);
    return m_pulse.record(m_stream.get(), monitor, &buffer,
                          static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE)) == 0;
}

void MonitorRecording::closeStream() {
    if (!m_stream)
        return;
    m_pulse.onStreamState(m_stream.get(), nullptr, nullptr);
    m_pulse.onReadable(m_stream.get(), nullptr, nullptr);
    m_pulse.streamDisconnect(m_stream.get());
    m_stream.reset();
}

void MonitorRecording::streamChanged() {
    const auto state = m_pulse.streamState(m_stream.get());
    if (state == PA_STREAM_READY) {
        m_flows = true;
        settle({});
    } else if (state == PA_STREAM_FAILED) {
        streamLost(lastFailure());
    }
}

// An output that goes away takes its monitor along; there may be another one by now.
void MonitorRecording::streamLost(const Failure &failure) {
    if (!std::exchange(m_flows, false))
        return end(failure);
    closeStream();
    askForOutput();
}

void MonitorRecording::read() {
    while (m_stream && m_pulse.readableSize(m_stream.get()) > 0) {
        const void *bytes = nullptr;
        std::size_t size = 0;
        if (m_pulse.peek(m_stream.get(), &bytes, &size) < 0 || size == 0)
            return;
        const auto count = size / sizeof(float);
        if (!bytes)
            m_silence.assign(count, 0);
        m_listener.onSound({bytes ? static_cast<const float *>(bytes) : m_silence.data(), count});
        m_pulse.drop(m_stream.get());
    }
}

// The first counts; begin() tells it.
void MonitorRecording::settle(const Outcome &outcome) {
    const std::lock_guard lock(m_mutex);
    if (m_outcome)
        return;
    m_outcome = outcome;
    m_over = !outcome;
    m_settled.notify_all();
}

// Before there is an outcome that is one, for begin(); later the listener hears of it.
void MonitorRecording::end(const Failure &failure) {
    settle(std::unexpected(failure));
    if (!std::exchange(m_over, true))
        m_listener.onStop(failure.description);
}

void MonitorRecording::follow(pa_operation *operation) const {
    if (operation)
        m_pulse.operationUnref(operation);
}

Failure MonitorRecording::lastFailure() const {
    const int code = m_pulse.lastError(m_context.get());
    return code == PA_ERR_NOENTITY ? noSystemAudio()
                                   : Failure{u"audio"_s, code, QString::fromUtf8(m_pulse.words(code))};
}

} // namespace ombru
