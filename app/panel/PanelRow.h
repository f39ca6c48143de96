// One line of the panel: a dot in its colour, the text, a code, the buttons. Main thread. What is the same in the next
// line stays in place, so that a button can be pressed while the text beside it changes.
#pragma once
#include "app/panel/PanelButtons.h"
#include "app/panel/PanelColours.h"

#include <QWidget>

class QBoxLayout;
class QGridLayout;
class QLabel;

namespace ombru {

class PanelRow : public QWidget {
public:
    explicit PanelRow(OnPanelAction onAction);

    // In a row of that width. A button stands below the text where there is no room beside it.
    void show(const PanelLine &line, const Colours &colours, int width);
    const QList<QPushButton *> &buttons() const { return m_buttons; } // as they are seen

private:
    void showButtons(const std::vector<PanelButton> &buttons, bool below);
    bool hasRoomBeside(const std::vector<PanelButton> &buttons, int width) const;

    OnPanelAction m_onAction;
    std::vector<PanelButton> m_shown; // what the buttons are now
    bool m_below = false;
    QList<QPushButton *> m_buttons;
    QLabel *m_dot; // all owned by the widget
    QLabel *m_text;
    QLabel *m_code;
    QGridLayout *m_grid;
    QBoxLayout *m_beside;
    QBoxLayout *m_under;
};

} // namespace ombru
