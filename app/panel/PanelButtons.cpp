#include "app/panel/PanelButtons.h"

#include <QBoxLayout>
#include <QPushButton>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

QString weightName(PanelButton::Weight weight) {
    switch (weight) {
    case PanelButton::Weight::plain:
        return u"plain"_s;
    case PanelButton::Weight::main:
        return u"main"_s;
    case PanelButton::Weight::halt:
        return u"halt"_s;
    }
    Q_UNREACHABLE();
}

} // namespace

QPushButton *addPanelButton(QBoxLayout &layout, const PanelButton &button, const OnPanelAction &onAction) {
    auto *widget = new QPushButton(button.text);
    widget->setProperty("weight", weightName(button.weight));
    widget->setAccessibleName(button.name);
    widget->setEnabled(button.isEnabled);
    widget->setAutoDefault(true); // Return presses the one with the focus
    QObject::connect(widget, &QPushButton::clicked, widget, [onAction, action = button.action] { onAction(action); });
    layout.addWidget(widget);
    widget->show(); // counts when the panel is measured, also while it is open
    return widget;
}

void dropPanelButtons(QBoxLayout &layout) {
    while (auto *item = layout.takeAt(0)) {
        if (auto *widget = item->widget()) {
            if (widget->hasFocus())
                widget->window()->setFocus();
            widget->hide();
            widget->deleteLater(); // it may be the one that was just pressed
        }
        delete item;
    }
}

} // namespace ombru
