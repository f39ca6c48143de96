#include "osascript/desktop/InputState.h"

#include "osascript/desktop/Xkb.h"

#include <xcb/xtest.h>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr std::uint16_t CORE_KEYBOARD = XCB_XKB_ID_USE_CORE_KBD;
constexpr int PATIENCE_MILLISECONDS = 5'000;

} // namespace

void sendKey(const X11 &x11, xcb_keycode_t key, bool down) {
    xcb_test_fake_input(x11.connection(), down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, key, XCB_CURRENT_TIME, XCB_NONE, 0, 0,
                        0);
}

void tapKey(const X11 &x11, xcb_keycode_t key) {
    sendKey(x11, key, true);
    sendKey(x11, key, false);
}

// When a key is pressed the server looks whether it repeats, and not again. So it is told only for that moment, and
// nothing is left to be undone by whoever outlives this program. (Told of the XTEST keyboard alone, it goes on
// repeating.)
void pressToHold(const X11 &x11, xcb_keycode_t key) {
    auto *connection = x11.connection();
    const auto keyboard = Reply<xcb_get_keyboard_control_reply_t>(
        xcb_get_keyboard_control_reply(connection, xcb_get_keyboard_control(connection), nullptr));
    const bool repeats = keyboard && (keyboard->auto_repeats[key / 8] >> key % 8 & 1) != 0;
    const auto repeat = [&](std::uint32_t mode) {
        const std::array<std::uint32_t, 2> values{key, mode};
        xcb_change_keyboard_control(connection, XCB_KB_KEY | XCB_KB_AUTO_REPEAT_MODE, values.data());
    };
    if (repeats)
        repeat(XCB_AUTO_REPEAT_MODE_OFF);
    sendKey(x11, key, true);
    if (repeats)
        repeat(XCB_AUTO_REPEAT_MODE_ON);
}

InputState::~InputState() {
    if (m_isolated)
        lock(m_locks, m_group);
    for (std::size_t key = 0; key < m_released.size(); ++key)
        if (m_released[key])
            sendKey(*m_x11, static_cast<xcb_keycode_t>(key), true);
    xcb_flush(m_x11->connection());
}

KeySet InputState::held(const std::vector<xcb_keycode_t> &modifiers) const {
    KeySet result;
    const auto reply = Reply<xcb_query_keymap_reply_t>(
        xcb_query_keymap_reply(m_x11->connection(), xcb_query_keymap(m_x11->connection()), nullptr));
    if (reply)
        for (const xcb_keycode_t key : modifiers)
            result[key] = reply->keys[key / 8] >> key % 8 & 1;
    return result;
}

Result<> InputState::releaseModifiers(const std::vector<xcb_keycode_t> &modifiers, const KeySet &ours) {
    const KeySet before = held(modifiers) & ~ours;
    for (const xcb_keycode_t key : modifiers)
        if (before[key])
            sendKey(*m_x11, key, false);
    KeySet left = before.any() ? held(modifiers) & ~ours : KeySet();
    m_released = before & ~left;
    const bool free = m_x11->waitFor(PATIENCE_MILLISECONDS, [&] {
        if (left.any())
            left = held(modifiers) & ~ours;
        return left.none();
    });
    if (const auto alive = m_x11->flush(); free || !alive)
        return alive;
    return std::unexpected(desktopFailure(
        CANNOT_DO_IT, u"Somebody holds down a modifier key on the keyboard, which would change what is typed."_s));
}

void InputState::isolate(std::uint8_t locks) {
    const auto state = Reply<xcb_xkb_get_state_reply_t>(
        xcb_xkb_get_state_reply(m_x11->connection(), xcb_xkb_get_state(m_x11->connection(), CORE_KEYBOARD), nullptr));
    if (!state || (state->lockedMods == locks && state->lockedGroup == 0))
        return;
    m_isolated = true;
    m_locks = state->lockedMods;
    m_group = state->lockedGroup;
    lock(locks, 0);
}

void InputState::lock(std::uint8_t modifiers, std::uint8_t group) {
    constexpr std::uint8_t ALL = 0xff;
    xcb_xkb_latch_lock_state(m_x11->connection(), CORE_KEYBOARD, ALL, modifiers, 1, group, 0, 0, 0);
}

} // namespace ombru
