#include "platform/linux/x11/TestExtension.h"

#include <xcb/xtest.h>

namespace ombru {

bool hasTestExtension(const Display &display) {
    const auto *extension = xcb_get_extension_data(display.connection(), &xcb_test_id);
    if (!extension || !extension->present)
        return false;
    const auto cookie = xcb_test_get_version(display.connection(), XCB_TEST_MAJOR_VERSION, XCB_TEST_MINOR_VERSION);
    return Reply<xcb_test_get_version_reply_t>(xcb_test_get_version_reply(display.connection(), cookie, nullptr)) !=
           nullptr;
}

} // namespace ombru
