#include "osascript/desktop/Keyboard.h"

#include "osascript/desktop/BorrowedKeys.h"
#include "osascript/desktop/Settled.h"
#include "osascript/desktop/Symbols.h"

#include <algorithm>
#include <set>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

using applescript::Modifier;
using applescript::Modifiers;

// What programs that cannot say how far they are get: time to read a new map, to work off what was typed, and to notice
// a shortcut.
constexpr int READ_MAP_MILLISECONDS = 50;
constexpr int WORK_OFF_MILLISECONDS = 300;
constexpr int NOTICE_MILLISECONDS = 50;

xkb_keysym_t symbolOf(Modifier modifier) {
    switch (modifier) {
    case Modifier::shift:
        return XKB_KEY_Shift_L;
    case Modifier::option:
        return XKB_KEY_Alt_L;
    case Modifier::command:
    case Modifier::control:
        break;
    }
    return XKB_KEY_Control_L;
}

Result<xcb_keycode_t> keyOf(const KeyMap &map, Modifier modifier) {
    if (const auto stroke = map.strokeFor(symbolOf(modifier)))
        return stroke->key;
    return std::unexpected(desktopFailure(CANNOT_DO_IT, u"The keyboard has no such modifier key."_s));
}

Result<std::vector<xcb_keycode_t>> keysOf(const KeyMap &map, Modifiers modifiers) {
    std::vector<xcb_keycode_t> keys;
    for (const Modifier modifier : {Modifier::control, Modifier::command, Modifier::option, Modifier::shift}) {
        if (!(modifiers & static_cast<int>(modifier)))
            continue;
        const auto key = keyOf(map, modifier);
        if (!key)
            return std::unexpected(key.error());
        if (!contains(keys, *key))
            keys.push_back(*key);
    }
    return keys;
}

void tap(const X11 &x11, xcb_keycode_t key) {
    sendKey(x11, key, true);
    sendKey(x11, key, false);
}

Failure noKey() {
    return desktopFailure(CANNOT_DO_IT, u"The keyboard has no such key."_s);
}

Failure noSuchCode(int keyCode) {
    return desktopFailure(CANNOT_DO_IT, u"There is no key with the code %1."_s.arg(keyCode));
}

// Types symbols one after the other. Those that no key has are put on spare keys, as many at a time as fit.
class Typist {
public:
    Typist(X11 &x11, const KeyMap &map) : m_x11(&x11), m_map(&map), m_borrowed(x11), m_settled(x11) {}

    Result<> type(const std::vector<xkb_keysym_t> &symbols) {
        if (const auto shift = keyOf(*m_map, Modifier::shift))
            m_shift = *shift;
        else
            return std::unexpected(shift.error());
        Result<> typed = borrowFor(symbols);
        for (auto next = symbols.begin(); next != symbols.end() && typed;)
            typed = typeSome(next, symbols.end());
        return typed;
    }

private:
    using Symbol = std::vector<xkb_keysym_t>::const_iterator;

    Result<> borrowFor(const std::vector<xkb_keysym_t> &symbols) {
        std::set<xkb_keysym_t> foreign;
        for (const xkb_keysym_t symbol : symbols)
            if (!m_map->strokeFor(symbol))
                foreign.insert(symbol);
        return foreign.empty() ? Result<>() : m_borrowed.borrow(m_map->spareKeys(), foreign.size());
    }

    Result<> typeSome(Symbol &next, Symbol end) {
        std::map<xkb_keysym_t, Stroke> strokes;
        std::vector<xkb_keysym_t> foreign;
        Symbol stop = next;
        for (; stop != end && admit(*stop, strokes, foreign); ++stop) {
        }
        if (!foreign.empty()) {
            if (const auto bound = m_borrowed.bind(foreign); !bound)
                return bound;
            if (const auto read = m_settled.wait(READ_MAP_MILLISECONDS); !read)
                return read;
        }
        for (; next != stop; ++next)
            if (const auto typed = press(strokes.at(*next)); !typed)
                return typed;
        return m_borrowed.areBound() ? m_settled.wait(WORK_OFF_MILLISECONDS) : m_x11->flush();
    }

    bool admit(xkb_keysym_t symbol, std::map<xkb_keysym_t, Stroke> &strokes, std::vector<xkb_keysym_t> &foreign) {
        if (strokes.contains(symbol))
            return true;
        if (const auto stroke = m_map->strokeFor(symbol)) {
            strokes.emplace(symbol, *stroke);
            return true;
        }
        if (foreign.size() == m_borrowed.capacity())
            return false;
        strokes.emplace(symbol, m_borrowed.stroke(foreign.size()));
        foreign.push_back(borrowedSymbol(symbol));
        return true;
    }

    Result<> press(Stroke stroke) {
        if (stroke.shift)
            sendKey(*m_x11, m_shift, true);
        tap(*m_x11, stroke.key);
        if (stroke.shift)
            sendKey(*m_x11, m_shift, false);
        // A key that comes back at once looks like one that repeats.
        m_x11->pause(stroke.key == m_last ? 2 : 0);
        m_last = stroke.key;
        return m_x11->flush();
    }

    X11 *m_x11;
    const KeyMap *m_map;
    BorrowedKeys m_borrowed;
    Settled m_settled;
    xcb_keycode_t m_shift = 0;
    xcb_keycode_t m_last = 0;
};

} // namespace

Result<> Keyboard::type(X11 &x11, const QString &text, Modifiers modifiers) {
    const auto symbols = symbolsOf(text);
    if (!symbols)
        return std::unexpected(symbols.error());
    const auto map = KeyMap::read(x11);
    if (!map)
        return std::unexpected(map.error());
    InputState state(x11);
    if (const auto free = state.releaseModifiers(map->modifierKeys(), m_held); !free)
        return free;
    state.isolate(0);
    if (modifiers != 0 || holdsModifier(*map))
        return shortcuts(x11, *map, *symbols, modifiers);
    return Typist(x11, *map).type(*symbols);
}

bool Keyboard::holdsModifier(const KeyMap &map) const {
    return std::ranges::any_of(map.modifierKeys(), [&](xcb_keycode_t key) { return m_held[key]; });
}

Result<> Keyboard::shortcuts(X11 &x11, const KeyMap &map, const std::vector<xkb_keysym_t> &symbols,
                             Modifiers modifiers) {
    for (const xkb_keysym_t symbol : symbols) {
        const auto stroke = map.strokeFor(symbol);
        const auto pressed = stroke ? chord(x11, map, *stroke, modifiers) : pressBorrowed(x11, map, symbol, modifiers);
        if (!pressed)
            return pressed;
    }
    return x11.flush();
}

Result<> Keyboard::pressBorrowed(X11 &x11, const KeyMap &map, xkb_keysym_t symbol, Modifiers modifiers) {
    BorrowedKeys borrowed(x11);
    Settled settled(x11);
    if (const auto got = borrowed.borrow(map.spareKeys(), 1); !got)
        return got;
    if (const auto bound = borrowed.bind({borrowedSymbol(symbol)}); !bound)
        return bound;
    if (const auto read = settled.wait(READ_MAP_MILLISECONDS); !read)
        return read;
    if (const auto pressed = chord(x11, map, borrowed.stroke(0), modifiers); !pressed)
        return pressed;
    return settled.wait(WORK_OFF_MILLISECONDS);
}

Result<> Keyboard::chord(X11 &x11, const KeyMap &map, Stroke stroke, Modifiers modifiers) {
    const Modifiers all = stroke.shift ? modifiers | static_cast<int>(Modifier::shift) : modifiers;
    return during(x11, map, all, [&] {
        tap(x11, stroke.key);
        // Some programs look at the modifiers only when they get to the key: too late when they are up again by then.
        return all == 0 ? Result<>() : Settled(x11).wait(NOTICE_MILLISECONDS);
    });
}

// Does it while these modifiers are down.
Result<> Keyboard::during(X11 &x11, const KeyMap &map, Modifiers modifiers, const std::function<Result<>()> &action) {
    const auto keys = keysOf(map, modifiers);
    if (!keys)
        return std::unexpected(keys.error());
    const auto sendAll = [&](bool down) {
        for (const xcb_keycode_t key : *keys)
            if (!m_held[key])
                sendKey(x11, key, down);
    };
    sendAll(true);
    const auto done = action();
    sendAll(false);
    const auto released = x11.flush();
    return done ? released : done;
}

Result<> Keyboard::press(X11 &x11, int keyCode, Modifiers modifiers) {
    const auto key = keyForCode(keyCode);
    if (!key)
        return std::unexpected(noSuchCode(keyCode));
    const auto map = KeyMap::read(x11);
    if (!map)
        return std::unexpected(map.error());
    InputState state(x11);
    if (const auto free = state.releaseModifiers(map->modifierKeys(), m_held); !free)
        return free;
    if (key->position) {
        const auto at = map->keyAt(key->position);
        return at ? chord(x11, *map, {*at}, modifiers) : std::unexpected(noKey());
    }
    const auto stroke = map->strokeFor(key->symbol);
    if (stroke && stroke->locks)
        state.isolate(stroke->locks);
    return stroke ? chord(x11, *map, *stroke, modifiers) : pressBorrowed(x11, *map, key->symbol, modifiers);
}

Result<> Keyboard::hold(X11 &x11, int keyCode, bool down) {
    const auto key = keyForCode(keyCode);
    if (!key)
        return std::unexpected(noSuchCode(keyCode));
    const auto map = KeyMap::read(x11);
    if (!map)
        return std::unexpected(map.error());
    const auto stroke = key->position ? std::nullopt : map->strokeFor(key->symbol);
    const auto at = key->position ? map->keyAt(key->position) : std::nullopt;
    if (!stroke && !at)
        return std::unexpected(noKey());
    return holdKey(x11, stroke ? stroke->key : *at, down);
}

Result<> Keyboard::hold(X11 &x11, Modifier modifier, bool down) {
    const auto map = KeyMap::read(x11);
    if (!map)
        return std::unexpected(map.error());
    const auto key = keyOf(*map, modifier);
    return key ? holdKey(x11, *key, down) : std::unexpected(key.error());
}

Result<> Keyboard::holdKey(X11 &x11, xcb_keycode_t key, bool down) {
    if (down || m_held[key])
        sendKey(x11, key, down);
    m_held[key] = down;
    return x11.flush();
}

void Keyboard::releaseAll(const X11 &x11) {
    for (std::size_t key = 0; key < m_held.size(); ++key)
        if (m_held[key])
            sendKey(x11, static_cast<xcb_keycode_t>(key), false);
    m_held.reset();
    xcb_flush(x11.connection());
}

Result<> Keyboard::with(X11 &x11, Modifiers modifiers, const std::function<Result<>()> &action) {
    const auto map = KeyMap::read(x11);
    if (!map)
        return std::unexpected(map.error());
    InputState state(x11);
    if (const auto free = state.releaseModifiers(map->modifierKeys(), m_held); !free)
        return free;
    return during(x11, *map, modifiers, action);
}

} // namespace ombru
