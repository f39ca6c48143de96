#include "osascript/desktop/KeySymbols.h"

#include "osascript/desktop/Xkb.h"

#include <cstring>
#include <xcb/xinput.h>

namespace ombru {
namespace {

constexpr std::uint16_t CORE_KEYBOARD = XCB_XKB_ID_USE_CORE_KBD;
constexpr std::uint8_t GROUPS = 0x0f; // the bits of groupInfo that count them

using Entry = xcb_xkb_key_sym_map_t;

Entry entryOf(const QByteArray &key) {
    Entry entry;
    std::memcpy(&entry, key.constData(), sizeof entry);
    return entry;
}

QByteArray keyOf(const Entry &entry, const std::vector<xkb_keysym_t> &symbols) {
    return QByteArray(reinterpret_cast<const char *>(&entry), sizeof entry) +
           QByteArray(reinterpret_cast<const char *>(symbols.data()), qsizetype(symbols.size() * sizeof symbols[0]));
}

xcb_xkb_get_map_cookie_t ask(const X11 &x11, std::uint16_t device, xcb_keycode_t first, std::size_t count) {
    return xcb_xkb_get_map(x11.connection(), device, 0, XCB_XKB_MAP_PART_KEY_SYMS, 0, 0, first,
                           static_cast<std::uint8_t>(count), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);
}

using MapReply = Reply<xcb_xkb_get_map_reply_t>;

MapReply answer(const X11 &x11, xcb_xkb_get_map_cookie_t cookie) {
    return MapReply(xcb_xkb_get_map_reply(x11.connection(), cookie, nullptr));
}

std::vector<QByteArray> keysOf(const MapReply &reply) {
    std::vector<QByteArray> keys;
    const auto *next = static_cast<const char *>(xcb_xkb_get_map_map(reply.get()));
    for (int i = 0; i < reply->nKeySyms; ++i) {
        Entry entry;
        std::memcpy(&entry, next, sizeof entry);
        keys.emplace_back(next, qsizetype(sizeof entry + entry.nSyms * sizeof(xkb_keysym_t)));
        next += keys.back().size();
    }
    return keys;
}

// The keyboards whose keys are the core keyboard's.
std::vector<std::uint16_t> partsOf(const X11 &x11, std::uint16_t device) {
    std::vector<std::uint16_t> parts;
    auto *connection = x11.connection();
    const auto all = Reply<xcb_input_xi_query_device_reply_t>(xcb_input_xi_query_device_reply(
        connection, xcb_input_xi_query_device(connection, XCB_INPUT_DEVICE_ALL), nullptr));
    if (!all)
        return parts;
    for (auto i = xcb_input_xi_query_device_infos_iterator(all.get()); i.rem > 0; xcb_input_xi_device_info_next(&i))
        if (i.data->type == XCB_INPUT_DEVICE_TYPE_SLAVE_KEYBOARD && i.data->attachment == device)
            parts.push_back(i.data->deviceid);
    return parts;
}

} // namespace

std::optional<SymbolTable> SymbolTable::read(const X11 &x11, xcb_keycode_t first, xcb_keycode_t last) {
    const auto reply = answer(x11, ask(x11, CORE_KEYBOARD, first, std::size_t(last - first) + 1));
    if (!reply || reply->firstKeySym != first || reply->nKeySyms != last - first + 1)
        return std::nullopt;
    SymbolTable table;
    table.m_least = reply->minKeyCode;
    table.m_most = reply->maxKeyCode;
    table.m_first = first;
    table.m_keys = keysOf(reply);
    table.m_together = table.isTheSameEverywhere(x11, reply->deviceID);
    return table;
}

KeySymbols SymbolTable::at(xcb_keycode_t key) const {
    const QByteArray &bytes = m_keys[std::size_t(key - m_first)];
    const Entry entry = entryOf(bytes);
    std::array<xkb_keysym_t, 2> symbols{};
    if ((entry.groupInfo & GROUPS) > 0)
        std::memcpy(symbols.data(), bytes.constData() + sizeof entry,
                    std::min<std::size_t>(entry.width, symbols.size()) * sizeof symbols[0]);
    return {key, symbols[0], symbols[1]};
}

bool SymbolTable::isEmpty(xcb_keycode_t key) const {
    const auto symbols = QByteArrayView(m_keys[std::size_t(key - m_first)]).sliced(sizeof(Entry));
    return std::ranges::all_of(symbols, [](char byte) { return byte == 0; });
}

void SymbolTable::put(const KeySymbols &symbols) {
    constexpr std::uint8_t TWO_LEVELS = 1; // a type that every map has at this place
    const bool empty = symbols.plain == XKB_KEY_NoSymbol && symbols.shifted == XKB_KEY_NoSymbol;
    const Entry entry = empty ? Entry{} : Entry{{TWO_LEVELS, TWO_LEVELS, TWO_LEVELS, TWO_LEVELS}, 1, 2, 2};
    m_keys[std::size_t(symbols.key - m_first)] =
        keyOf(entry, empty ? std::vector<xkb_keysym_t>() : std::vector{symbols.plain, symbols.shifted});
    m_changed.push_back(symbols.key);
}

// One request is for the core keyboard and all that it consists of. One of these may have a layout of its own, which
// the neighbours of a changed key must not replace: then each key is sent alone.
std::vector<SymbolTable::Part> SymbolTable::parts() const {
    if (m_changed.empty())
        return {};
    const auto [least, most] = std::ranges::minmax(m_changed);
    if (m_together)
        return {{least, std::size_t(most - least) + 1}};
    std::vector<Part> alone;
    for (const xcb_keycode_t key : m_changed)
        alone.push_back({key, 1});
    return alone;
}

bool SymbolTable::isTheSameEverywhere(const X11 &x11, std::uint16_t device) const {
    std::vector<xcb_xkb_get_map_cookie_t> asked;
    for (const std::uint16_t part : partsOf(x11, device))
        asked.push_back(ask(x11, part, m_first, m_keys.size()));
    bool same = !asked.empty();
    for (const auto cookie : asked) {
        const auto reply = answer(x11, cookie);
        same = same && reply && keysOf(reply) == m_keys;
    }
    return same;
}

void SymbolTable::write(const X11 &x11) const {
    for (const Part &part : parts()) {
        QByteArray values;
        for (std::size_t i = 0; i < part.count; ++i)
            values += m_keys[std::size_t(part.first - m_first) + i];
        const auto symbols = (std::size_t(values.size()) - part.count * sizeof(Entry)) / sizeof(xkb_keysym_t);
        xcb_xkb_set_map(x11.connection(), CORE_KEYBOARD, XCB_XKB_MAP_PART_KEY_SYMS, 0, m_least, m_most, 0, 0,
                        part.first, static_cast<std::uint8_t>(part.count), static_cast<std::uint16_t>(symbols), 0, 0, 0,
                        0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, values.constData());
    }
}

} // namespace ombru
