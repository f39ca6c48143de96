// Types through XTEST. Each operation leaves the keyboard's map, layout, locks and foreign modifiers as they were.
// Remembers the keys it holds down. One thread.
#pragma once
#include "applescript/host/Host.h"
#include "osascript/desktop/InputState.h"
#include "osascript/desktop/KeyCodes.h"
#include "osascript/desktop/KeyMap.h"

namespace ombru {

class Keyboard {
public:
    Result<> type(X11 &x11, const QString &text, applescript::Modifiers modifiers);
    Result<> press(X11 &x11, int keyCode, applescript::Modifiers modifiers);
    Result<> hold(X11 &x11, int keyCode, bool down);
    Result<> hold(X11 &x11, applescript::Modifier modifier, bool down);
    bool holds() const { return m_held.any(); }
    void releaseAll(const X11 &x11);

    // Does `action` while the modifiers are down, and those that others hold are not.
    Result<> with(X11 &x11, applescript::Modifiers modifiers, const std::function<Result<>()> &action);

private:
    Result<> pressBorrowed(X11 &x11, const KeyMap &map, xkb_keysym_t symbol, applescript::Modifiers modifiers);
    Result<> during(X11 &x11, const KeyMap &map, applescript::Modifiers modifiers,
                    const std::function<Result<>()> &action);
    Result<> chord(X11 &x11, const KeyMap &map, Stroke stroke, applescript::Modifiers modifiers);
    Result<> shortcuts(X11 &x11, const KeyMap &map, const std::vector<xkb_keysym_t> &symbols,
                       applescript::Modifiers modifiers);
    Result<> holdKey(X11 &x11, xcb_keycode_t key, bool down);
    bool holdsModifier(const KeyMap &map) const;

    KeySet m_held;
};

} // namespace ombru
