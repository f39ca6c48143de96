// The small window that opens at the icon in the menu bar. Shows lines and buttons as it is given them, and knows
// nothing of what they mean. Main thread, with a graphical application.
//
// It takes no grab of keyboard or pointer: the agent types and clicks at the same time.
#pragma once
#include "app/panel/PanelRow.h"
#include "base/Clock.h"
#include "look/Look.h"
#include "platform/InputWatch.h"

#include <QWidget>

#include <functional>
#include <optional>
#include <vector>

class QBoxLayout;
class QScrollArea;

namespace ombru {

class MenuPanel : public QWidget {
public:
    struct Receiver {
        OnPanelAction onAction;
        std::function<void(bool open)> onOpen; // it was opened or closed, by whomever
    };
    explicit MenuPanel(Receiver receiver);

    void show(const PanelContent &content); // whether it is open or not

    // Beside the icon at that place; in a corner where the place is not known (an empty rectangle).
    void open(const QRect &icon);

    void setVisible(bool visible) override;

    // While the agent works, what it brings to the front does not close it: only a person does.
    void keepOpen(bool keep) { m_keptOpen = keep; }

    // By a click elsewhere, a moment ago: it may have been the click on the icon that is still to be told.
    bool wasJustLeft() const;

protected:
    void keyPressEvent(QKeyEvent *event) override; // Escape closes, arrows go from button to button
    void changeEvent(QEvent *event) override;      // so does another window with the focus
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void dress(const Colours &colours);
    void showLines();
    void showBottom();
    void orderButtons();
    void fit(const QRect &icon);
    int widthOfAll() const;
    int heightOfAll() const;
    void leave();
    void noteClick();

    Receiver m_receiver;
    PanelContent m_content;
    std::vector<PanelButton> m_bottomShown;
    QRect m_icon;
    std::optional<InputWatch> m_clicks; // while it is open
    std::optional<Clock::Time> m_left;
    bool m_keptOpen = false;
    bool m_isClosing = false;
    const Colours *m_colours = nullptr; // in which it is dressed
    std::vector<PanelRow *> m_rows;     // all owned by the widget
    QScrollArea *m_scroll;              // where the screen is too low for all lines
    QBoxLayout *m_lines;
    QWidget *m_footer;
    QBoxLayout *m_bottom;
    std::optional<Look> m_look;
};

} // namespace ombru
