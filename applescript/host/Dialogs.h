// What a script asks its owner: dialogs and alerts.
#pragma once
#include "base/Failure.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace ombru::applescript {

struct DialogRequest {
    enum class Kind { dialog, alert };
    enum class Icon { none, note, caution, stop };
    Kind kind = Kind::dialog;
    QString text;
    QString message; // an alert's second, smaller text
    QString title;
    Icon icon = Icon::none;
    QStringList buttons;                // at least one, left to right
    int defaultButton = -1;             // index, or -1 for none
    int cancelButton = -1;              // index; Escape and closing the window press it. -1 for none
    std::optional<QString> defaultText; // present: the dialog has a text field
    bool hiddenText = false;
    double givingUpAfter = 0; // seconds; 0 waits for ever
};

struct DialogAnswer {
    int button = -1; // index of the button pressed; -1 when it gave up, or was closed with no cancel button
    QString text;
    bool gaveUp = false;
};

class Dialogs {
public:
    virtual ~Dialogs() = default;

    virtual Result<DialogAnswer> ask(const DialogRequest &request) = 0;
};

} // namespace ombru::applescript
