// The window that asks whether one program may control another. Main thread. It answers once, through `onAnswer`, and
// is hidden then; whatever is not plainly "Allow" refuses.
#pragma once
#include "look/Look.h"
#include "platform/linux/consent/prompt/InputGuard.h"
#include "platform/linux/consent/prompt/PromptText.h"

#include <QDialog>

#include <functional>

class QBoxLayout;

namespace ombru {

class PromptWindow : public QDialog {
public:
    PromptWindow(const PromptText &text, std::function<void(bool allowed)> onAnswer);

    void reject() override; // Escape and closing

private:
    QBoxLayout *texts(const PromptText &text);
    QBoxLayout *buttons(const PromptText &text);
    void answer(bool allowed);

    std::function<void(bool allowed)> m_onAnswer;
    InputGuard m_guard{*this};
    Look m_look;
};

} // namespace ombru
