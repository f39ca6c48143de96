// An application this computer knows: an installed one, or System Events.
#pragma once
#include <QString>

namespace ombru::applescript {

struct Application {
    QString id;   // identifier, "org.xfce.mousepad"
    QString name; // as the desktop shows it
    QString path; // its desktop entry; empty for System Events

    bool operator==(const Application &) const = default;
};

} // namespace ombru::applescript
