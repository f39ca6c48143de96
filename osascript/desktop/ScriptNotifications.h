// `display notification`: a message from the desktop's notification server. One thread; waits for the server's answer.
#pragma once
#include "applescript/host/Notifications.h"
#include "osascript/desktop/Turns.h"

namespace ombru {

class ScriptNotifications : public applescript::Notifications {
public:
    explicit ScriptNotifications(Turns &turns) : m_turns(&turns) {}

    // A Failure when there is no session bus, or no notification server on it.
    Result<> show(const applescript::NotificationRequest &request) override;

private:
    Turns *m_turns;
};

} // namespace ombru
