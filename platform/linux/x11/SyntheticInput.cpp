#include "platform/linux/x11/SyntheticInput.h"

#include "platform/linux/x11/TestExtension.h"

#include <algorithm>
#include <string_view>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

namespace ombru {

namespace {

constexpr int BUTTONS = 5;            // that the server tells of for all devices together
constexpr std::size_t MAP_BYTES = 32; // of a device's state, a bit a key or button

bool hasInputDevices(const Display &display) {
    const auto *extension = xcb_get_extension_data(display.connection(), &xcb_input_id);
    return extension && extension->present;
}

void add(const std::uint8_t *bits, std::bitset<256> &into) {
    for (std::size_t bit = 0; bit < MAP_BYTES * 8; ++bit)
        into[bit] = into[bit] || (bits[bit / 8] >> bit % 8 & 1) != 0;
}

void addStateOf(const Display &display, std::uint8_t device, HeldInput &held) {
    auto *connection = display.connection();
    const auto opening = xcb_input_open_device(connection, device);
    const auto asking = xcb_input_query_device_state(connection, device);
    const Reply<xcb_input_open_device_reply_t> opened(xcb_input_open_device_reply(connection, opening, nullptr));
    const Reply<xcb_input_query_device_state_reply_t> state(
        xcb_input_query_device_state_reply(connection, asking, nullptr));
    if (!state)
        return;
    for (auto part = xcb_input_query_device_state_classes_iterator(state.get()); part.rem > 0;
         xcb_input_input_state_next(&part)) {
        if (part.data->class_id == XCB_INPUT_INPUT_CLASS_KEY)
            add(reinterpret_cast<const xcb_input_key_state_t *>(part.data)->keys, held.keys);
        else if (part.data->class_id == XCB_INPUT_INPUT_CLASS_BUTTON)
            add(reinterpret_cast<const xcb_input_button_state_t *>(part.data)->buttons, held.buttons);
    }
}

void release(const Display &display, std::uint8_t kind, std::size_t number) {
    xcb_test_fake_input(display.connection(), kind, std::uint8_t(number), XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
}

} // namespace

// The server names them after the extension: "Virtual core XTEST keyboard".
std::vector<std::uint8_t> devicesForPrograms(const Display &display) {
    std::vector<std::uint8_t> ids;
    auto *connection = display.connection();
    const Reply<xcb_input_list_input_devices_reply_t> list(
        xcb_input_list_input_devices_reply(connection, xcb_input_list_input_devices(connection), nullptr));
    if (!list)
        return ids;
    const auto *devices = xcb_input_list_input_devices_devices(list.get());
    auto name = xcb_input_list_input_devices_names_iterator(list.get());
    for (int device = 0; device < list->devices_len; ++device, xcb_str_next(&name)) {
        const std::string_view text(xcb_str_name(name.data), std::size_t(xcb_str_name_length(name.data)));
        if (text.contains(" XTEST "))
            ids.push_back(devices[device].device_id);
    }
    return ids;
}

HeldInput heldByPrograms(const Display &display) {
    HeldInput held;
    if (!hasInputDevices(display))
        return held;
    for (const auto device : devicesForPrograms(display))
        addStateOf(display, device, held);
    return held;
}

HeldInput releaseHeldByPrograms(const Display &display) {
    const auto held = hasTestExtension(display) ? heldByPrograms(display) : HeldInput();
    for (std::size_t number = 0; number < held.keys.size(); ++number) {
        if (held.keys[number])
            release(display, XCB_KEY_RELEASE, number);
        if (held.buttons[number])
            release(display, XCB_BUTTON_RELEASE, number);
    }
    heldByAnybody(display); // whose reply comes after all of it
    return held;
}

HeldInput heldByAnybody(const Display &display) {
    HeldInput held;
    auto *connection = display.connection();
    const auto askingKeys = xcb_query_keymap(connection);
    const auto askingButtons = xcb_query_pointer(connection, display.screen().root);
    const Reply<xcb_query_keymap_reply_t> keys(xcb_query_keymap_reply(connection, askingKeys, nullptr));
    const Reply<xcb_query_pointer_reply_t> pointer(xcb_query_pointer_reply(connection, askingButtons, nullptr));
    if (keys)
        add(keys->keys, held.keys);
    for (int button = 1; pointer && button <= BUTTONS; ++button)
        held.buttons[std::size_t(button)] = (pointer->mask & XCB_BUTTON_MASK_1 << (button - 1)) != 0;
    return held;
}

} // namespace ombru
