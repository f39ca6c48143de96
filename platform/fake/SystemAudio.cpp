#include "platform/SystemAudio.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {
namespace {

class FakeSystemAudio : public SystemAudio {
public:
    explicit FakeSystemAudio(std::shared_ptr<FakeRecording> recording) : m_recording(std::move(recording)) {}
    ~FakeSystemAudio() override {
        const auto desktop = FakePlatform::instance().desktop.lock();
        desktop->recordingsEndedOnMainThread += isMainThread() ? 1 : 0;
        m_recording->ended = true;
    }

private:
    std::shared_ptr<FakeRecording> m_recording;
};

} // namespace

Result<std::unique_ptr<SystemAudio>> recordSystemAudio(int rate, SystemAudio::Listener listener) {
    const auto before = FakePlatform::instance().desktop.lock()->beforeRecording;
    const auto recording = std::make_shared<FakeRecording>(rate, std::move(listener));
    if (before)
        before(*recording);
    const auto desktop = FakePlatform::instance().desktop.lock();
    if (desktop->recordingFailure)
        return std::unexpected(*desktop->recordingFailure);
    desktop->recordings.push_back(recording);
    return std::make_unique<FakeSystemAudio>(recording);
}

} // namespace ombru
