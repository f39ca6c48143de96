#include "app/call/LiveSound.h"

#include "base/Background.h"
#include "voice/Mulaw.h"

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr Clock::Duration LIMIT = std::chrono::seconds(5); // for a sound server that does not answer
constexpr std::ptrdiff_t FRAME = 160;
constexpr std::ptrdiff_t MOST = 10 * FRAME;
constexpr char SILENCE = '\xff';

// By the decoder of G.711.
std::int16_t sampleOf(char byte) {
    const auto code = static_cast<std::uint8_t>(~static_cast<std::uint8_t>(byte));
    const int magnitude = ((((code & 0x0F) << 3) + 0x84) << ((code & 0x70) >> 4)) - 0x84;
    return static_cast<std::int16_t>((code & 0x80) != 0 ? -magnitude : magnitude);
}

struct Opened {
    std::unique_ptr<Handset> handset;
    Failure failure; // when there is none
};

Opened opening(const Handset::Listener &listener) {
    auto handset = openHandset(RATE, listener);
    return handset ? Opened{std::move(*handset), {}} : Opened{nullptr, handset.error()};
}

} // namespace

LiveSound::LiveSound(std::function<void(const QString &)> onStop)
    : m_onStop(std::make_shared<std::function<void(const QString &)>>(std::move(onStop))) {}

Task<Result<>> LiveSound::open() {
    const Handset::Listener listener{.onHeard =
                                         [brought = m_brought](std::span<const std::int16_t> samples) {
                                             const std::lock_guard lock(brought->mutex);
                                             auto &all = brought->samples;
                                             all.insert(all.end(), samples.begin(), samples.end());
                                             if (std::ssize(all) > MOST)
                                                 all.erase(all.begin(), all.end() - MOST);
                                         },
                                     .onStop =
                                         [weak = std::weak_ptr(m_onStop)](const QString &why) {
                                             Loop::main().post([weak, why] {
                                                 if (const auto onStop = weak.lock())
                                                     (*onStop)(why);
                                             });
                                         }};
    auto opened = co_await backgroundWithin(LIMIT, {}, [listener] { return opening(listener); });
    if (!opened)
        co_return std::unexpected(Failure{u"audio"_s, 1, u"the sound server does not answer"_s});
    if (!opened->handset)
        co_return std::unexpected(opened->failure);
    m_handset = std::move(opened->handset);
    co_return Result<>();
}

QByteArray LiveSound::heard() {
    const std::lock_guard lock(m_brought->mutex);
    auto &all = m_brought->samples;
    const auto count = std::min(FRAME, std::ssize(all));
    auto sound = pcmToUlaw(std::span(all).first(static_cast<std::size_t>(count)));
    all.erase(all.begin(), all.begin() + count);
    return sound.append(FRAME - count, SILENCE);
}

void LiveSound::play(const QByteArray &sound) {
    Samples samples(static_cast<std::size_t>(sound.size()));
    std::ranges::transform(sound, samples.begin(), sampleOf);
    m_handset->play(samples);
}

} // namespace ombru
