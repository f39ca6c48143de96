// What a script tells its owner without waiting for an answer.
#pragma once
#include "base/Failure.h"

#include <QString>

namespace ombru::applescript {

struct NotificationRequest {
    QString text;
    QString title;
    QString subtitle;
    QString sound;
};

class Notifications {
public:
    virtual ~Notifications() = default;

    virtual Result<> show(const NotificationRequest &request) = 0;
};

} // namespace ombru::applescript
