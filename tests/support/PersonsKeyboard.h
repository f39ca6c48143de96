// The keyboard and the pointer that a private desktop's X server takes for a person's: not those that programs type on.
#pragma once
#include "platform/linux/x11/Display.h"

#include <gtest/gtest.h>
#include <string_view>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

namespace ombru::test {

class PersonsDevice {
public:
    // `use` as the input extension says it; `press` the event that a press is, whose release is the next one.
    PersonsDevice(std::uint8_t use, int press) : m_press(press) {
        const Reply<xcb_input_list_input_devices_reply_t> list(
            xcb_input_list_input_devices_reply(connection(), xcb_input_list_input_devices(connection()), nullptr));
        const auto *devices = xcb_input_list_input_devices_devices(list.get());
        auto name = xcb_input_list_input_devices_names_iterator(list.get());
        for (int device = 0; device < list->devices_len; ++device, xcb_str_next(&name)) {
            const std::string_view text(xcb_str_name(name.data), std::size_t(xcb_str_name_length(name.data)));
            if (devices[device].device_use == use && !text.contains("XTEST"))
                m_id = devices[device].device_id;
        }
        EXPECT_NE(m_id, 0);
        const Reply<xcb_input_open_device_reply_t> opened(
            xcb_input_open_device_reply(connection(), xcb_input_open_device(connection(), m_id), nullptr));
    }

    // Returns once the server has it.
    void press(std::uint8_t number, bool down) const { // a key code, or a button
        const int kind =
            xcb_get_extension_data(connection(), &xcb_input_id)->first_event + (down ? m_press : m_press + 1);
        const Reply<xcb_generic_error_t> error(
            xcb_request_check(connection(), xcb_test_fake_input_checked(connection(), std::uint8_t(kind), number,
                                                                        XCB_CURRENT_TIME, XCB_NONE, 0, 0, m_id)));
        EXPECT_FALSE(error);
    }

private:
    xcb_connection_t *connection() const { return m_display.connection(); }

    Display m_display = std::move(*Display::open());
    std::uint8_t m_id = 0;
    int m_press;
};

class PersonsKeyboard : public PersonsDevice {
public:
    PersonsKeyboard() : PersonsDevice(XCB_INPUT_DEVICE_USE_IS_X_EXTENSION_KEYBOARD, XCB_INPUT_DEVICE_KEY_PRESS) {}
};

class PersonsPointer : public PersonsDevice {
public:
    PersonsPointer() : PersonsDevice(XCB_INPUT_DEVICE_USE_IS_X_EXTENSION_POINTER, XCB_INPUT_DEVICE_BUTTON_PRESS) {}
};

} // namespace ombru::test
