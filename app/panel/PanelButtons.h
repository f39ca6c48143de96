// The buttons of the panel's lines and of its footer. Main thread, with a graphical application.
#pragma once
#include "app/panel/PanelLines.h"

#include <QList>

#include <functional>

class QBoxLayout;
class QPushButton;

namespace ombru {

using OnPanelAction = std::function<void(const PanelAction &)>;

// Adds one; its layout's widget owns it.
QPushButton *addPanelButton(QBoxLayout &layout, const PanelButton &button, const OnPanelAction &onAction);

// Takes all away. One with the focus leaves that to the window, since the owner chose no other.
void dropPanelButtons(QBoxLayout &layout);

} // namespace ombru
