// What is pressed on the X server: on every device, whoever has the focus, and also while a program has grabbed it (raw
// events of the input extension). Main thread.
#pragma once
#include "platform/linux/x11/DisplayEvents.h"

#include <cstdint>
#include <map>

namespace ombru {

class InputEvents {
public:
    struct Press {
        enum class Kind { key, button };
        Kind kind = Kind::key;
        std::uint32_t number = 0; // key code or button
        bool isDown = true;
        bool isByProgram = false; // it came through XTEST
    };
    struct Receiver {
        std::function<void(const Press &)> onPress; // a key that repeats comes once
        std::function<void()> onKeyboardChange;     // keys may give other symbols from now on
    };
    enum Which : std::uint32_t { keyPresses = 1, keyReleases = 2, buttonPresses = 4 };

    // Whether the server tells of them.
    static bool areTold(const Display &display);

    // The receiver is told from the event loop, and must not destroy this. Null when the server does not tell.
    static std::unique_ptr<InputEvents> watch(std::uint32_t which, Receiver receiver);

    const Display &display() const { return m_events.display(); }
    bool isAlive() const { return m_events.isAlive(); }

private:
    InputEvents(Display display, Receiver receiver);

    bool select(std::uint32_t which) const;
    void take(const xcb_generic_event_t &event);
    bool isByProgram(std::uint16_t device);

    DisplayEvents m_events;
    Receiver m_receiver;
    const std::uint8_t m_extension;
    std::map<std::uint16_t, bool> m_devices; // that have been seen: whether programs press them
};

} // namespace ombru
