#include "osascript/desktop/X11Input.h"

#include "osascript/desktop/KeyCodes.h"
#include "osascript/desktop/Pointer.h"
#include "osascript/desktop/TextSymbols.h"
#include "osascript/desktop/Typist.h"
#include "platform/linux/x11/SyntheticInput.h"

#include <xcb/xtest.h>

using namespace Qt::StringLiterals;

namespace ombru {

using namespace applescript;

namespace {

Failure noKey() {
    return desktopFailure(CANNOT_DO_IT, u"The keyboard has no such key."_s);
}

Failure noSuchCode(int keyCode) {
    return desktopFailure(CANNOT_DO_IT, u"There is no key with the code %1."_s.arg(keyCode));
}

} // namespace

Result<> X11Input::type(const QString &text, Modifiers modifiers) {
    const auto symbols = symbolsOf(text);
    auto next = symbols ? symbols->begin() : std::vector<xkb_keysym_t>::const_iterator();
    Result<> typed;
    do {
        typed = onDisplay([&](X11 &x11, Aim &aim) -> Result<> {
            if (!symbols)
                return std::unexpected(symbols.error());
            return atKeyboard(x11, aim, [&](Keyboard &keyboard, InputState &state) {
                state.isolate(0);
                if (modifiers == 0 && !keyboard.holdsModifier())
                    return Typist(x11, aim, keyboard.map(), [this] { return m_turns->isRestWanted(); })
                        .type(next, symbols->end());
                return keyboard.pressEach({std::exchange(next, symbols->end()), symbols->end()}, modifiers);
            });
        });
    } while (typed && next != symbols->end());
    return typed;
}

Result<> X11Input::pressKey(int keyCode, Modifiers modifiers) {
    return onDisplay([&](X11 &x11, Aim &aim) -> Result<> {
        const auto key = keyForCode(keyCode);
        if (!key)
            return std::unexpected(noSuchCode(keyCode));
        return atKeyboard(x11, aim, [&](Keyboard &keyboard, InputState &state) -> Result<> {
            if (key->position) {
                const auto at = keyboard.map().keyAt(key->position);
                return at ? keyboard.press(Stroke{*at}, modifiers) : std::unexpected(noKey());
            }
            const auto stroke = keyboard.map().strokeFor(key->symbol);
            if (stroke && stroke->locks)
                state.isolate(stroke->locks);
            return keyboard.press(key->symbol, modifiers);
        });
    });
}

Result<> X11Input::holdKey(int keyCode, bool down) {
    return onDisplay([&](X11 &x11, Aim &aim) -> Result<> {
        const auto key = keyForCode(keyCode);
        if (!key)
            return std::unexpected(noSuchCode(keyCode));
        auto keyboard = Keyboard::open(x11, aim, m_held);
        if (!keyboard)
            return std::unexpected(keyboard.error());
        const auto stroke = key->position ? std::nullopt : keyboard->map().strokeFor(key->symbol);
        const auto at = key->position ? keyboard->map().keyAt(key->position) : std::nullopt;
        if (!stroke && !at)
            return std::unexpected(noKey());
        return keyboard->hold(stroke ? stroke->key : *at, down);
    });
}

Result<> X11Input::holdModifier(Modifier modifier, bool down) {
    return onDisplay([&](X11 &x11, Aim &aim) -> Result<> {
        auto keyboard = Keyboard::open(x11, aim, m_held);
        if (!keyboard)
            return std::unexpected(keyboard.error());
        const auto key = keyboard->map().keyOf(modifier);
        return key ? keyboard->hold(*key, down) : std::unexpected(key.error());
    });
}

Result<> X11Input::click(QPoint at, Click click, Modifiers modifiers) {
    return onDisplay([&](X11 &x11, Aim &aim) {
        return atKeyboard(x11, aim, [&](Keyboard &keyboard, InputState &) {
            return keyboard.during(modifiers, [&] { return clickAt(x11, aim, at, click); });
        });
    });
}

void X11Input::releaseAll() {
    if (m_held.none())
        return;
    const std::atomic<bool> goOn = false;
    const auto x11 = X11::open(goOn);
    if (!x11)
        return;
    for (std::size_t key = 0; key < m_held.size(); ++key)
        if (m_held[key])
            sendKey(*x11, static_cast<xcb_keycode_t>(key), false);
    m_held.reset();
    xcb_flush(x11->connection());
}

void X11Input::rest(bool midway) {
    if (m_held.none() && !midway)
        return;
    const std::atomic<bool> goOn = false;
    auto x11 = X11::open(goOn);
    const auto map = x11 ? KeyMap::read(*x11) : std::unexpected(x11.error());
    if (!map)
        return;
    for (const xcb_keycode_t key : map->modifierKeys())
        m_again[key] = m_held[key];
    releaseAll();
    if (midway) // the operation has pressed some for itself
        releaseHeldByPrograms(x11->display());
}

Result<> X11Input::pressAgain(X11 &x11, Aim &aim) {
    if (m_again.none())
        return {};
    auto keyboard = Keyboard::open(x11, aim, m_held);
    if (!keyboard)
        return std::unexpected(keyboard.error());
    for (std::size_t key = 0; key < m_again.size(); ++key) {
        if (!m_again[key])
            continue;
        if (auto pressed = keyboard->hold(static_cast<xcb_keycode_t>(key), true); !pressed)
            return pressed;
        m_again[key] = false;
    }
    return {};
}

Result<> X11Input::onDisplay(const Operation &operation) {
    return m_turns->onDisplay([&](X11 &x11) -> Result<> {
        const auto *extension = xcb_get_extension_data(x11.connection(), &xcb_test_id);
        Aim aim(x11, *m_mayReach);
        if (extension && extension->present) {
            const auto pressed = pressAgain(x11, aim);
            return pressed ? operation(x11, aim) : pressed;
        }
        return std::unexpected(
            desktopFailure(CANNOT_DO_IT, u"The display does not accept keys and clicks from programs (no XTEST)."_s));
    });
}

Result<> X11Input::atKeyboard(X11 &x11, Aim &aim, const KeyOperation &operation) {
    auto keyboard = Keyboard::open(x11, aim, m_held);
    if (!keyboard)
        return std::unexpected(keyboard.error());
    InputState state(x11);
    if (const auto free = state.releaseModifiers(keyboard->map().modifierKeys(), m_held); !free)
        return free;
    return operation(*keyboard, state);
}

} // namespace ombru
