// What the controller knows of that the panel shows. Main thread.
#pragma once
#include "app/panel/PanelLines.h"
#include "controller/AppState.h"

namespace ombru {

PanelState panelState(const AppState &state, const QString &failure = {});

} // namespace ombru
