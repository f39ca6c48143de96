// `display notification`: a message from the desktop's notification server. One thread; waits for the server's answer.
#pragma once
#include "applescript/Host.h"

namespace ombru {

// A Failure when there is no session bus, or no notification server on it.
Result<> showNotification(const applescript::NotificationRequest &request);

} // namespace ombru
