#include "controller/WebSound.h"

#include "voice/AudioCapture.h"

#include <QtEndian>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int RATE_OF_THE_PAGE = 24000; // samples a second

QByteArray bytesOf(const Samples &samples) {
    QByteArray bytes(static_cast<qsizetype>(samples.size() * sizeof(Samples::value_type)), Qt::Uninitialized);
    qToLittleEndian<qint16>(samples.data(), static_cast<qsizetype>(samples.size()), bytes.data());
    return bytes;
}

// From the capture's queue to the main thread; for nobody once its capture was dropped.
void tell(const std::weak_ptr<WebSound *> &way, std::move_only_function<void(WebSound &)> what) {
    Loop::main().post([way, what = std::move(what)]() mutable {
        if (const auto there = way.lock())
            what(**there);
    });
}

} // namespace

WebSound::WebSound(Listener listener) : m_listener(std::move(listener)) {}

WebSound::~WebSound() = default;

void WebSound::listen(bool on) {
    if (on && !m_capture)
        return begin();
    if (on || !m_capture)
        return;
    m_way.reset();
    m_capture.reset();
    m_listener.emit(u"🔈 stopped streaming audio to the website"_s, EventKind::dim);
}

void WebSound::begin() {
    m_way = std::make_shared<WebSound *>(this);
    const std::weak_ptr way = m_way;
    m_capture = std::make_unique<AudioCapture>(AudioCapture::Options{
        .sampleRate = RATE_OF_THE_PAGE,
        .onSamples =
            [way](const Samples &samples) {
                tell(way, [block = bytesOf(samples)](WebSound &self) { self.m_listener.send(block); });
            },
        .onStop = [way](const QString &message) { tell(way, [message](WebSound &self) { self.failed(message); }); }});
    m_capture->start([way](const Result<> &started) {
        tell(way, [started](WebSound &self) {
            if (started)
                self.m_listener.emit(u"🔈 streaming this Mac's audio to the website"_s, EventKind::dim);
            else
                self.failed(started.error().description);
        });
    });
}

void WebSound::failed(const QString &message) {
    m_way.reset();
    m_capture.reset();
    m_listener.emit(u"✗ couldn't capture audio for the website: "_s + message, EventKind::bad);
}

Task<> WebSound::end() {
    m_way.reset();
    if (const auto capture = std::exchange(m_capture, nullptr))
        co_await capture->end();
}

} // namespace ombru
