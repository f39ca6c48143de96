#include "osascript/desktop/KeyMap.h"

#include "osascript/desktop/KeyLoans.h"

#include <algorithm>
#include <xkbcommon/xkbcommon-x11.h>

using namespace Qt::StringLiterals;

namespace ombru {

using applescript::Modifier;

namespace {

constexpr xkb_mod_mask_t SHIFT = XCB_MOD_MASK_SHIFT; // the eight real modifiers come first in every map

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

bool isOnNumberPad(xkb_keysym_t symbol) {
    return symbol >= XKB_KEY_KP_Space && symbol <= XKB_KEY_KP_Equal;
}

struct UnrefContext {
    void operator()(xkb_context *context) const { xkb_context_unref(context); }
};

} // namespace

Result<KeyMap> KeyMap::read(X11 &x11) {
    auto *connection = x11.connection();
    const std::unique_ptr<xkb_context, UnrefContext> context(xkb_context_new(XKB_CONTEXT_NO_DEFAULT_INCLUDES));
    const bool usable = context && xkb_x11_setup_xkb_extension(
                                       connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                       XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr);
    // Loans and map belong together.
    const ServerGrab grab(x11);
    const auto loans = usable ? livingLoans(x11) : std::vector<KeyLoan>();
    KeyMap result;
    if (usable)
        result.m_map.reset(xkb_x11_keymap_new_from_device(
            context.get(), connection, xkb_x11_get_core_keyboard_device_id(connection), XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!result.m_map)
        return std::unexpected(desktopFailure(
            CANNOT_DO_IT, u"The display has no keyboard that can be used (it needs the XKB extension)."_s));
    auto *map = result.m_map.get();
    result.readModifiers(x11);
    for (auto key = xkb_keymap_min_keycode(map); key <= xkb_keymap_max_keycode(map); ++key)
        if (isLent(loans, static_cast<xcb_keycode_t>(key)))
            result.m_spare.push_back(static_cast<xcb_keycode_t>(key));
        else
            result.add(map, static_cast<xcb_keycode_t>(key));
    return result;
}

void KeyMap::readModifiers(const X11 &x11) {
    const auto reply = Reply<xcb_get_modifier_mapping_reply_t>(
        xcb_get_modifier_mapping_reply(x11.connection(), xcb_get_modifier_mapping(x11.connection()), nullptr));
    if (!reply)
        return;
    const auto *keys = xcb_get_modifier_mapping_keycodes(reply.get());
    for (int i = 0; i < xcb_get_modifier_mapping_keycodes_length(reply.get()); ++i)
        if (keys[i] != 0)
            m_modifiers.push_back(keys[i]);
}

void KeyMap::add(xkb_keymap *map, xcb_keycode_t key) {
    bool empty = !contains(m_modifiers, key);
    for (xkb_layout_index_t layout = 0; layout < xkb_keymap_num_layouts_for_key(map, key); ++layout)
        for (xkb_level_index_t level = 0; level < xkb_keymap_num_levels_for_key(map, key, layout); ++level) {
            const xkb_keysym_t *symbols = nullptr;
            if (xkb_keymap_key_get_syms_by_level(map, key, layout, level, &symbols) > 0)
                empty = false;
        }
    if (empty)
        m_spare.push_back(key);
    else
        for (xkb_level_index_t level = 0; level < xkb_keymap_num_levels_for_key(map, key, 0); ++level)
            addLevel(map, key, level);
}

// Only levels that need nothing, or Shift alone: other modifiers mean something else to programs.
void KeyMap::addLevel(xkb_keymap *map, xcb_keycode_t key, xkb_level_index_t level) {
    const xkb_keysym_t *symbols = nullptr;
    if (xkb_keymap_key_get_syms_by_level(map, key, 0, level, &symbols) != 1)
        return;
    xkb_mod_mask_t masks[16];
    const auto count = xkb_keymap_key_get_mods_for_level(map, key, 0, level, masks, std::size(masks));
    for (std::size_t i = 0; i < count; ++i) {
        Stroke stroke{key};
        if (masks[i] == SHIFT && !isOnNumberPad(*symbols))
            stroke.shift = true;
        else if (masks[i] != 0 && (!isOnNumberPad(*symbols) || masks[i] == SHIFT || masks[i] > 0xff))
            continue;
        else
            stroke.locks = static_cast<std::uint8_t>(masks[i]);
        const auto known = m_strokes.find(*symbols);
        if (known == m_strokes.end() || (known->second.shift && !stroke.shift))
            m_strokes[*symbols] = stroke;
    }
}

std::optional<Stroke> KeyMap::strokeFor(xkb_keysym_t symbol) const {
    const auto found = m_strokes.find(symbol);
    return found == m_strokes.end() ? std::nullopt : std::optional(found->second);
}

std::optional<xcb_keycode_t> KeyMap::keyAt(const char *position) const {
    const auto key = xkb_keymap_key_by_name(m_map.get(), position);
    return key == XKB_KEYCODE_INVALID ? std::nullopt : std::optional(static_cast<xcb_keycode_t>(key));
}

Result<xcb_keycode_t> KeyMap::keyOf(Modifier modifier) const {
    if (const auto stroke = strokeFor(symbolOf(modifier)))
        return stroke->key;
    return std::unexpected(desktopFailure(CANNOT_DO_IT, u"The keyboard has no such modifier key."_s));
}

} // namespace ombru
