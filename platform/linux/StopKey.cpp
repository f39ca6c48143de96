#include "platform/StopKey.h"

#include "base/Loop.h"
#include "platform/linux/wayland/WaylandSession.h"
#include "platform/linux/x11/InputEvents.h"
#include "platform/linux/x11/KeyPlaces.h"
#include "platform/linux/x11/SyntheticInput.h"

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr int CANNOT_BE_SEEN = 1;
constexpr std::uint8_t BAD_ACCESS = 10;

std::unexpected<Failure> failure(int code, const QString &description) {
    return std::unexpected(Failure{u"stopKey"_s, code, description});
}

bool isTaken(const Display &display, xcb_keycode_t key, std::uint16_t modifiers) {
    auto *connection = display.connection();
    const auto asking = xcb_grab_key_checked(connection, 1, display.screen().root, modifiers, key, XCB_GRAB_MODE_ASYNC,
                                             XCB_GRAB_MODE_ASYNC);
    const Reply<xcb_generic_error_t> error(xcb_request_check(connection, asking));
    if (!error)
        xcb_ungrab_key(connection, key, display.screen().root, modifiers);
    return error && error->error_code == BAD_ACCESS;
}

} // namespace

class StopKey::Watch {
public:
    Watch(KeyCombination keys, std::function<void()> onPress)
        : m_keys(std::move(keys)), m_onPress(std::make_shared<std::function<void()>>(std::move(onPress))) {
        if (isWaylandSession())
            return;
        m_events = InputEvents::watch(
            InputEvents::keyPresses | InputEvents::keyReleases,
            {[this](const InputEvents::Press &press) { note(press); }, [this] { m_isCurrent = false; }});
        if (!m_events)
            return;
        m_held = heldByAnybody(m_events->display()).keys & ~heldByPrograms(m_events->display()).keys;
        findPlaces();
    }

    bool works() const { return m_events && m_events->isAlive() && m_places; }

private:
    void findPlaces() {
        m_places = placesOf(m_events->display(), m_keys);
        m_isCurrent = true;
    }

    // One modifier more does not keep it from stopping what runs.
    void note(const InputEvents::Press &press) {
        if (press.isByProgram || press.number >= m_held.size())
            return;
        m_held[press.number] = press.isDown;
        if (!press.isDown)
            return;
        if (!m_isCurrent)
            findPlaces();
        if (m_places && m_places->key[press.number] && m_places->areHeld(m_held))
            tell();
    }

    // From the event loop, since what is told may destroy this.
    void tell() const {
        Loop::main().post([weak = std::weak_ptr(m_onPress)] {
            if (const auto onPress = weak.lock())
                (*onPress)();
        });
    }

    const KeyCombination m_keys;
    const std::shared_ptr<std::function<void()>> m_onPress;
    std::unique_ptr<InputEvents> m_events; // null where there are none
    std::optional<KeyPlaces> m_places;
    bool m_isCurrent = false; // the places, of the keyboard as it is
    KeyCodes m_held;          // by a person
};

StopKey::StopKey(const KeyCombination &keys, std::function<void()> onPress)
    : m_watch(std::make_unique<Watch>(keys, std::move(onPress))) {}

StopKey::~StopKey() = default;

bool StopKey::works() const {
    return m_watch->works();
}

Result<> stopKeyUsable(const KeyCombination &keys) {
    if (isWaylandSession())
        return failure(CANNOT_BE_SEEN, u"A Wayland session has no key that is seen in every program."_s);
    const auto display = Display::open();
    if (!display)
        return failure(CANNOT_BE_SEEN, display.error().description);
    if (!InputEvents::areTold(*display))
        return failure(CANNOT_BE_SEEN, u"This display does not tell of keys while a program holds the keyboard."_s);
    const auto places = placesOf(*display, keys);
    if (!places)
        return failure(CANNOT_BE_SEEN, u"The keyboard has no %1."_s.arg(keys.text()));
    for (std::size_t key = 0; key < places->key.size(); ++key) {
        if (places->key[key] && isTaken(*display, xcb_keycode_t(key), places->mask))
            return failure(STOP_KEY_TAKEN, u"Another program has taken %1: it acts on it, too."_s.arg(keys.text()));
    }
    return {};
}

} // namespace ombru
