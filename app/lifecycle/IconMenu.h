// The menu behind the icon, from what the panel knows. Pure.
#pragma once
#include "app/panel/PanelLines.h"

#include <optional>
#include <vector>

namespace ombru {

struct IconMenuEntry {
    enum class What { stop, hangUp, openPanel, openLogs, quit };
    What what;
    QString text;
    bool isEnabled = true;

    bool operator==(const IconMenuEntry &) const = default;
};

// What ends what runs comes first; it is there, and cannot be chosen, while nothing does: the others stay in their
// places under the pointer.
std::vector<IconMenuEntry> iconMenu(const PanelState &state);

// What the desktop shows when the pointer rests on the icon.
QString iconTip(const PanelState &state);

} // namespace ombru
