// The keyboard during one operation, through XTEST: keys pressed together with modifiers. One thread.
#pragma once
#include "osascript/desktop/Aim.h"
#include "osascript/desktop/InputState.h"
#include "osascript/desktop/KeyMap.h"

#include <functional>

namespace ombru {

class Keyboard {
public:
    // `held` are the keys that the script holds down; all three outlive this.
    static Result<Keyboard> open(X11 &x11, Aim &aim, KeySet &held);

    const KeyMap &map() const { return m_map; }
    bool holdsModifier() const;

    // With these modifiers down.
    Result<> press(Stroke stroke, applescript::Modifiers modifiers);
    Result<> press(xkb_keysym_t symbol, applescript::Modifiers modifiers); // on a borrowed key when no key has it
    Result<> pressEach(const std::vector<xkb_keysym_t> &symbols, applescript::Modifiers modifiers);
    Result<> during(applescript::Modifiers modifiers, const std::function<Result<>()> &action);

    Result<> hold(xcb_keycode_t key, bool down);

private:
    Keyboard(X11 &x11, Aim &aim, KeyMap map, KeySet &held)
        : m_x11(&x11), m_aim(&aim), m_map(std::move(map)), m_held(&held) {}
    Result<> pressBorrowed(xkb_keysym_t symbol, applescript::Modifiers modifiers);
    Result<std::vector<xcb_keycode_t>> keysOf(applescript::Modifiers modifiers) const;

    X11 *m_x11;
    Aim *m_aim;
    KeyMap m_map;
    KeySet *m_held;
};

} // namespace ombru
