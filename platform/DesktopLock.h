// One at a time on this display: two agents on one desktop would type into each other's windows.
//
// The lock belongs to the display that the pictures come from and the keys go to, whatever it is called and whatever
// directories its programs use. On X11 the X server itself keeps it, as the owner of a selection: the server knows that
// it is one display under all its names, takes the lock back when its holder ends, however that ends, and is reached
// only by those who may type there anyway. A Wayland session has no such place: there it is also a lock on a file
// beside the compositor's socket, where only the session's owner can write.
#pragma once
#include "base/Failure.h"

#include <QString>

#include <memory>
#include <optional>
#include <utility>

namespace ombru {

// Held until the last copy is dropped, or until the process ends. Dropping it waits for nobody.
class DesktopLock {
public:
    // `held` releases the lock when it goes; nothing where there is no display that could be shared.
    explicit DesktopLock(std::shared_ptr<const void> held = {}) : m_held(std::move(held)) {}

private:
    std::shared_ptr<const void> m_held;
};

// None: somebody else has it, in this process or in another. Without a display it is had at once; looking at the screen
// then says what is wrong. The Failure (domain "desktop") says why it cannot be made. Any thread but the main one:
// blocks while the display answers.
Result<std::optional<DesktopLock>> lockDesktop();

// What that display is called, the same for all that share it; empty where there is none. Any thread.
QString desktopName();

} // namespace ombru
