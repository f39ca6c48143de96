// The keyboard's state put aside for as long as something is typed: the modifiers that are held, the locks (Caps Lock,
// Num Lock) and the layout group. They come back when the object goes. One thread.
#pragma once
#include "platform/linux/x11/X11.h"

#include <bitset>

namespace ombru {

using KeySet = std::bitset<256>; // of key codes

class InputState {
public:
    explicit InputState(const X11 &x11) : m_x11(&x11) {}
    ~InputState();
    InputState(const InputState &) = delete;
    InputState &operator=(const InputState &) = delete;

    // Releases what another program holds, and waits for what a person holds: nothing else can release that. A Failure
    // when they go on holding it.
    Result<> releaseModifiers(const std::vector<xcb_keycode_t> &modifiers, const KeySet &ours);

    // First layout; only these modifiers locked.
    void isolate(std::uint8_t locks);

private:
    KeySet held(const std::vector<xcb_keycode_t> &modifiers) const;
    void lock(std::uint8_t modifiers, std::uint8_t group);

    const X11 *m_x11;
    KeySet m_released;
    bool m_isolated = false;
    std::uint8_t m_locks = 0;
    std::uint8_t m_group = 0;
};

void sendKey(const X11 &x11, xcb_keycode_t key, bool down);
void tapKey(const X11 &x11, xcb_keycode_t key);

// Presses a key that stays down and does not repeat: whatever gets the focus later would get it then. The caller has
// grabbed the server.
void pressToHold(const X11 &x11, xcb_keycode_t key);

} // namespace ombru
