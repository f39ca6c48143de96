// What the windows of the programs beside osascript have in common. Main thread.
#pragma once

class QWidget;

namespace ombru {

// With the focus, on top of the window that had it.
void showInFront(QWidget &window);

} // namespace ombru
