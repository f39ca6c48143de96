// The window of `display dialog` and `display alert`. Main thread. It answers once, through `onAnswer`, and is closed
// then. It stays within the screen, whatever it is to show.
#pragma once
#include "applescript/host/Dialogs.h"

#include <QDialog>
#include <QLineEdit>

#include <functional>

class QBoxLayout;
class QPushButton;

namespace ombru {

class DialogWindow : public QDialog {
public:
    DialogWindow(const applescript::DialogRequest &request,
                 std::function<void(const applescript::DialogAnswer &)> onAnswer);

    void reject() override; // Escape and closing

private:
    void addField(QBoxLayout &column);
    void addButtons(QBoxLayout &column);
    QPushButton *makeButton(int index, int widest);
    void giveUpLater();
    void answer(int button, bool gaveUp = false);

    applescript::DialogRequest m_request;
    std::function<void(const applescript::DialogAnswer &)> m_onAnswer;
    QLineEdit *m_field = nullptr; // owned by the window
};

} // namespace ombru
