#include "platform/SystemAudio.h"

#include "platform/linux/sound/MonitorRecording.h"

namespace ombru {
namespace {

constexpr auto LIMIT = std::chrono::seconds(5); // for a sound server that does not answer

} // namespace

Result<std::unique_ptr<SystemAudio>> recordSystemAudio(int rate, SystemAudio::Listener listener) {
    const auto *pulse = PulseLibrary::get();
    if (!pulse)
        return std::unexpected(noSystemAudio());
    auto recording = std::make_unique<MonitorRecording>(*pulse, rate, std::move(listener));
    if (const auto begun = recording->begin(LIMIT); !begun)
        return std::unexpected(begun.error());
    return recording;
}

} // namespace ombru
