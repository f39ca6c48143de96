// The keyboard that a private desktop's X server takes for a person's: not the one that programs type on.
#pragma once
#include "platform/linux/x11/Display.h"

#include <gtest/gtest.h>
#include <string_view>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

namespace ombru::test {

class PersonsKeyboard {
public:
    PersonsKeyboard() {
        const Reply<xcb_input_list_input_devices_reply_t> list(
            xcb_input_list_input_devices_reply(connection(), xcb_input_list_input_devices(connection()), nullptr));
        const auto *devices = xcb_input_list_input_devices_devices(list.get());
        auto name = xcb_input_list_input_devices_names_iterator(list.get());
        for (int device = 0; device < list->devices_len; ++device, xcb_str_next(&name)) {
            const std::string_view text(xcb_str_name(name.data), std::size_t(xcb_str_name_length(name.data)));
            if (devices[device].device_use == XCB_INPUT_DEVICE_USE_IS_X_EXTENSION_KEYBOARD && !text.contains("XTEST"))
                m_id = devices[device].device_id;
        }
        EXPECT_NE(m_id, 0);
        const Reply<xcb_input_open_device_reply_t> opened(
            xcb_input_open_device_reply(connection(), xcb_input_open_device(connection(), m_id), nullptr));
    }

    // Returns once the server has it.
    void press(std::uint8_t key, bool down) const {
        const int kind = xcb_get_extension_data(connection(), &xcb_input_id)->first_event +
                         (down ? XCB_INPUT_DEVICE_KEY_PRESS : XCB_INPUT_DEVICE_KEY_RELEASE);
        const Reply<xcb_generic_error_t> error(
            xcb_request_check(connection(), xcb_test_fake_input_checked(connection(), std::uint8_t(kind), key,
                                                                        XCB_CURRENT_TIME, XCB_NONE, 0, 0, m_id)));
        EXPECT_FALSE(error);
    }

private:
    xcb_connection_t *connection() const { return m_display.connection(); }

    Display m_display = std::move(*Display::open());
    std::uint8_t m_id = 0;
};

} // namespace ombru::test
