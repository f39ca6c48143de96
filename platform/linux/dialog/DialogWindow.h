// The window of `display dialog` and `display alert`. Main thread. It answers once, through `onAnswer`, and is closed
// then.
#pragma once
#include "applescript/Host.h"

#include <QDialog>
#include <QLineEdit>

#include <functional>

class QBoxLayout;

namespace ombru {

class DialogWindow : public QDialog {
public:
    DialogWindow(const applescript::DialogRequest &request,
                 std::function<void(const applescript::DialogAnswer &)> onAnswer);

    void showInFront(); // with the focus, on top of the window that had it

    void reject() override; // Escape and closing

private:
    void addTexts(QBoxLayout &column);
    void addField(QBoxLayout &column);
    void addButtons(QBoxLayout &column);
    void giveUpLater();
    void answer(int button, bool gaveUp = false);

    applescript::DialogRequest m_request;
    std::function<void(const applescript::DialogAnswer &)> m_onAnswer;
    QLineEdit *m_field = nullptr; // owned by the window
};

} // namespace ombru
