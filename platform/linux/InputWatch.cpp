#include "platform/InputWatch.h"

#include "base/Loop.h"
#include "platform/linux/x11/InputEvents.h"

namespace ombru {

class InputWatch::Watch {
public:
    Watch(What what, std::function<void()> onInput)
        : m_what(what), m_onInput(std::make_shared<std::function<void()>>(std::move(onInput))),
          m_events(InputEvents::watch(InputEvents::buttonPresses |
                                          (what == What::programs ? InputEvents::keyPresses : std::uint32_t(0)),
                                      {[this](const InputEvents::Press &press) { note(press); }, {}})) {}

private:
    // From the event loop, since what is told may destroy this.
    void note(const InputEvents::Press &press) const {
        constexpr std::uint32_t LAST_BUTTON = 3; // behind it are the wheel's steps
        if (press.isByProgram != (m_what == What::programs) || (m_what == What::clicks && press.number > LAST_BUTTON))
            return;
        Loop::main().post([weak = std::weak_ptr(m_onInput)] {
            if (const auto onInput = weak.lock())
                (*onInput)();
        });
    }

    const What m_what;
    const std::shared_ptr<std::function<void()>> m_onInput;
    const std::unique_ptr<InputEvents> m_events; // null where the display does not tell
};

InputWatch::InputWatch(What what, std::function<void()> onInput)
    : m_watch(std::make_unique<Watch>(what, std::move(onInput))) {}

InputWatch::~InputWatch() = default;

} // namespace ombru
