// The message that a turn of the loop sends, taken apart, and whether the screenshot it names is what it says.
#pragma once
#include "base/Failure.h"

#include <QSize>
#include <QString>

#include <optional>

namespace ombru::rehearsed {

struct Message {
    std::optional<QString> task;       // of a first turn
    std::optional<QString> screenshot; // full path
    std::optional<QSize> image;        // pixels
    std::optional<QSize> points;       // of the screen
    QString text;                      // all of it
};

Message parseMessage(const QString &text);

// Opens and decodes the picture. The Failure says what is wrong with it.
Result<> look(const Message &message);

} // namespace ombru::rehearsed
