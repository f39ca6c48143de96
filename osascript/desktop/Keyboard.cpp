#include "osascript/desktop/Keyboard.h"

#include "osascript/desktop/BorrowedKeys.h"
#include "osascript/desktop/Settled.h"
#include "osascript/desktop/TextSymbols.h"

#include <algorithm>

namespace ombru {

using applescript::Modifier;
using applescript::Modifiers;

namespace {

constexpr int HAND_OVER_MILLISECONDS = 1'000;

// Nobody has it who was given it: it is with the window manager, or with none.
bool isBetweenWindows(X11 &x11) {
    const xcb_window_t focus = x11.inputFocus();
    return (focus == XCB_NONE || focus == x11.number(x11.root(), "_NET_SUPPORTING_WM_CHECK")) &&
           x11.number(x11.root(), "_NET_ACTIVE_WINDOW") != XCB_NONE;
}

// Window managers name the active window a moment before it has the keyboard; what is typed in between is lost. Where
// it stays with them, they mean it.
Result<> awaitHandOver(X11 &x11) {
    x11.waitFor(HAND_OVER_MILLISECONDS, [&] { return !isBetweenWindows(x11); });
    return x11.flush();
}

} // namespace

Result<Keyboard> Keyboard::open(X11 &x11, Aim &aim, KeySet &held) {
    if (const auto alive = awaitHandOver(x11); !alive)
        return std::unexpected(alive.error());
    auto map = KeyMap::read(x11);
    if (!map)
        return std::unexpected(map.error());
    return Keyboard(x11, aim, std::move(*map), held);
}

bool Keyboard::holdsModifier() const {
    return std::ranges::any_of(m_map.modifierKeys(), [&](xcb_keycode_t key) { return (*m_held)[key]; });
}

Result<> Keyboard::press(Stroke stroke, Modifiers modifiers) {
    const Modifiers all = stroke.shift ? modifiers | static_cast<int>(Modifier::shift) : modifiers;
    return during(all, [&] {
        if (auto sent = m_aim->keys([&] { tapKey(*m_x11, stroke.key); }); !sent)
            return sent;
        // Some programs look at the modifiers only when they get to the key: too late when they are up again by then.
        return all == 0 ? Result<>() : Settled(*m_x11).wait(NOTICE_MILLISECONDS);
    });
}

Result<> Keyboard::press(xkb_keysym_t symbol, Modifiers modifiers) {
    const auto stroke = m_map.strokeFor(symbol);
    return stroke ? press(*stroke, modifiers) : pressBorrowed(symbol, modifiers);
}

Result<> Keyboard::pressEach(const std::vector<xkb_keysym_t> &symbols, Modifiers modifiers) {
    for (const xkb_keysym_t symbol : symbols) {
        if (const auto pressed = press(symbol, modifiers); !pressed)
            return pressed;
    }
    return m_x11->flush();
}

Result<> Keyboard::pressBorrowed(xkb_keysym_t symbol, Modifiers modifiers) {
    BorrowedKeys borrowed(*m_x11);
    Settled settled(*m_x11);
    if (const auto got = borrowed.borrow(m_map.spareKeys(), 1); !got)
        return got;
    if (const auto bound = borrowed.bind({borrowedSymbol(symbol)}); !bound)
        return bound;
    if (const auto read = settled.wait(READ_MAP_MILLISECONDS); !read)
        return read;
    if (const auto pressed = press(borrowed.stroke(0), modifiers); !pressed)
        return pressed;
    return settled.wait(WORK_OFF_MILLISECONDS);
}

Result<std::vector<xcb_keycode_t>> Keyboard::keysOf(Modifiers modifiers) const {
    std::vector<xcb_keycode_t> keys;
    for (const Modifier modifier : {Modifier::control, Modifier::command, Modifier::option, Modifier::shift}) {
        if (!(modifiers & static_cast<int>(modifier)))
            continue;
        const auto key = m_map.keyOf(modifier);
        if (!key)
            return std::unexpected(key.error());
        if (!contains(keys, *key))
            keys.push_back(*key);
    }
    return keys;
}

Result<> Keyboard::during(Modifiers modifiers, const std::function<Result<>()> &action) {
    const auto keys = keysOf(modifiers);
    if (!keys)
        return std::unexpected(keys.error());
    const auto sendAll = [&](bool down) {
        for (const xcb_keycode_t key : *keys)
            if (!(*m_held)[key])
                sendKey(*m_x11, key, down);
    };
    const auto pressed = keys->empty() ? Result<>() : m_aim->keys([&] { sendAll(true); });
    if (!pressed)
        return pressed;
    const auto done = action();
    sendAll(false);
    const auto released = m_x11->flush();
    return done ? released : done;
}

Result<> Keyboard::hold(xcb_keycode_t key, bool down) {
    // What is let go of may be anybody's: the server lets go only of what a program holds, not of a person's key.
    if (!down)
        sendKey(*m_x11, key, false);
    else if (auto pressed = m_aim->keys([&] { pressToHold(*m_x11, key); }); !pressed)
        return pressed;
    (*m_held)[key] = down;
    return m_x11->flush();
}

} // namespace ombru
