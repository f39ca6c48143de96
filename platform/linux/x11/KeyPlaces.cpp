#include "platform/linux/x11/KeyPlaces.h"

#include <algorithm>
#include <span>
#include <xkbcommon/xkbcommon.h>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr int FIRST_LAYOUTS = 4; // symbols of a key: of two layouts, with Shift and without

struct Symbols {
    explicit Symbols(const Display &display) : least(xcb_get_setup(display.connection())->min_keycode) {
        const auto most = xcb_get_setup(display.connection())->max_keycode;
        auto *connection = display.connection();
        reply.reset(xcb_get_keyboard_mapping_reply(
            connection, xcb_get_keyboard_mapping(connection, least, std::uint8_t(most - least + 1)), nullptr));
    }

    KeyCodes with(std::initializer_list<xkb_keysym_t> wanted) const {
        KeyCodes found;
        const int width = reply ? reply->keysyms_per_keycode : 0;
        const std::span all(reply ? xcb_get_keyboard_mapping_keysyms(reply.get()) : nullptr, reply ? reply->length : 0);
        for (std::size_t place = 0; place < all.size(); ++place) {
            const bool isFirst = int(place) % width < FIRST_LAYOUTS;
            if (isFirst && std::ranges::find(wanted, all[place]) != wanted.end())
                found.set(least + place / std::size_t(width));
        }
        return found;
    }

    std::size_t least;
    Reply<xcb_get_keyboard_mapping_reply_t> reply;
};

xkb_keysym_t symbolOf(QString key) {
    key.replace(u"Page"_s, u"Page_"_s).replace(u"ScrollLock"_s, u"Scroll_Lock"_s);
    return xkb_keysym_from_name(key.toLatin1().constData(), XKB_KEYSYM_CASE_INSENSITIVE);
}

// The bits of a key's state that one of these keys sets.
std::uint16_t maskOf(const Display &display, const KeyCodes &keys) {
    auto *connection = display.connection();
    const Reply<xcb_get_modifier_mapping_reply_t> reply(
        xcb_get_modifier_mapping_reply(connection, xcb_get_modifier_mapping(connection), nullptr));
    const int width = reply ? reply->keycodes_per_modifier : 0;
    const auto *codes = reply ? xcb_get_modifier_mapping_keycodes(reply.get()) : nullptr;
    std::uint16_t mask = 0;
    for (int place = 0; place < width * 8; ++place) {
        if (codes[place] != 0 && keys[codes[place]])
            mask |= std::uint16_t(1 << place / width);
    }
    return mask;
}

} // namespace

bool KeyPlaces::areHeld(const KeyCodes &held) const {
    return std::ranges::all_of(modifiers, [&held](const KeyCodes &one) { return (one & held).any(); });
}

std::optional<KeyPlaces> placesOf(const Display &display, const KeyCombination &keys) {
    const Symbols symbols(display);
    KeyPlaces places;
    places.key = symbols.with({symbolOf(keys.key)});
    const auto add = [&](bool wanted, std::initializer_list<xkb_keysym_t> either) {
        if (wanted)
            places.modifiers.push_back(symbols.with(either));
    };
    add(keys.control, {XKB_KEY_Control_L, XKB_KEY_Control_R});
    add(keys.shift, {XKB_KEY_Shift_L, XKB_KEY_Shift_R});
    add(keys.alt, {XKB_KEY_Alt_L, XKB_KEY_Alt_R, XKB_KEY_Meta_L, XKB_KEY_Meta_R});
    add(keys.super, {XKB_KEY_Super_L, XKB_KEY_Super_R});
    if (places.key.none() || std::ranges::any_of(places.modifiers, &KeyCodes::none))
        return std::nullopt;
    for (const auto &modifier : places.modifiers)
        places.mask |= maskOf(display, modifier);
    return places;
}

} // namespace ombru
