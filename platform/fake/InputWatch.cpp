#include "platform/InputWatch.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

class InputWatch::Watch {
public:
    Watch(What what, std::function<void()> onInput) : m_what(what) { place() = std::move(onInput); }
    ~Watch() { place() = {}; }

private:
    std::function<void()> &place() const {
        auto &platform = FakePlatform::instance();
        return m_what == What::clicks ? platform.clicks : platform.syntheticInput;
    }

    const What m_what;
};

InputWatch::InputWatch(What what, std::function<void()> onInput)
    : m_watch(std::make_unique<Watch>(what, std::move(onInput))) {}

InputWatch::~InputWatch() = default;

} // namespace ombru
