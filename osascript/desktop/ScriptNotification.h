// `display notification`: a message from the desktop's notification server. One thread; waits for the server's answer.
#pragma once
#include "applescript/host/Host.h"

namespace ombru {

// A Failure when there is no session bus, or no notification server on it.
Result<> showScriptNotification(const applescript::NotificationRequest &request);

} // namespace ombru
