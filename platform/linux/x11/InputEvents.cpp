#include "platform/linux/x11/InputEvents.h"

#include "platform/linux/x11/SyntheticInput.h"

#include <algorithm>
#include <xcb/xinput.h>

namespace ombru {
namespace {

constexpr std::uint8_t EVENT_KIND = 0x7f; // without the mark of an event that a program sent

// Before 2.1 a grab keeps raw events from everybody else.
bool tellsUnderGrabs(const Display &display) {
    const Reply<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
        display.connection(), xcb_input_xi_query_version(display.connection(), 2, 2), nullptr));
    return version && (version->major_version > 2 || (version->major_version == 2 && version->minor_version >= 1));
}

std::uint32_t eventMask(std::uint32_t which) {
    std::uint32_t mask = 0;
    if ((which & InputEvents::keyPresses) != 0)
        mask |= XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS;
    if ((which & InputEvents::keyReleases) != 0)
        mask |= XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE;
    if ((which & InputEvents::buttonPresses) != 0)
        mask |= XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS;
    return mask;
}

} // namespace

bool InputEvents::areTold(const Display &display) {
    const auto *extension = xcb_get_extension_data(display.connection(), &xcb_input_id);
    return extension && extension->present && tellsUnderGrabs(display);
}

std::unique_ptr<InputEvents> InputEvents::watch(std::uint32_t which, Receiver receiver) {
    auto display = Display::open();
    if (!display)
        return nullptr;
    if (!areTold(*display))
        return nullptr;
    std::unique_ptr<InputEvents> events(new InputEvents(*std::move(display), std::move(receiver)));
    return events->select(which) ? std::move(events) : nullptr;
}

InputEvents::InputEvents(Display display, Receiver receiver)
    : m_events(std::move(display), [this](const xcb_generic_event_t &event) { take(event); }),
      m_receiver(std::move(receiver)),
      m_extension(xcb_get_extension_data(m_events.connection(), &xcb_input_id)->major_opcode) {}

bool InputEvents::select(std::uint32_t which) const {
    const struct {
        xcb_input_event_mask_t head{XCB_INPUT_DEVICE_ALL_MASTER, 1};
        std::uint32_t mask = 0;
    } wanted{.mask = eventMask(which)};
    const Reply<xcb_generic_error_t> error(xcb_request_check(
        m_events.connection(),
        xcb_input_xi_select_events_checked(m_events.connection(), display().screen().root, 1, &wanted.head)));
    m_events.catchUp();
    return !error && isAlive();
}

void InputEvents::take(const xcb_generic_event_t &event) {
    const int kind = event.response_type & EVENT_KIND;
    if (kind == XCB_MAPPING_NOTIFY && m_receiver.onKeyboardChange)
        m_receiver.onKeyboardChange();
    const auto &raw = reinterpret_cast<const xcb_input_raw_key_press_event_t &>(event);
    if (kind != XCB_GE_GENERIC || raw.extension != m_extension)
        return;
    const bool isButton = raw.event_type == XCB_INPUT_RAW_BUTTON_PRESS;
    m_receiver.onPress({isButton ? Press::Kind::button : Press::Kind::key, raw.detail,
                        raw.event_type != XCB_INPUT_RAW_KEY_RELEASE, isByProgram(raw.sourceid)});
}

bool InputEvents::isByProgram(std::uint16_t device) {
    if (const auto known = m_devices.find(device); known != m_devices.end())
        return known->second;
    const auto theirs = devicesForPrograms(display());
    return m_devices[device] = std::ranges::find(theirs, device) != theirs.end();
}

} // namespace ombru
