#include "platform/linux/windows/ShowInFront.h"

#include <QWidget>

namespace ombru {

void showInFront(QWidget &window) {
    window.show();
    window.raise();
    window.activateWindow();
}

} // namespace ombru
