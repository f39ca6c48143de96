// Keys and clicks, to whatever has the focus. Key codes are macOS's; positions are in points with their origin at the
// primary monitor's top left.
#pragma once
#include "base/Failure.h"

#include <QPoint>
#include <QString>

namespace ombru::applescript {

enum class Modifier { command = 1, shift = 2, option = 4, control = 8 };
using Modifiers = int; // Modifier values or-ed together

enum class Click { single, twice, right };

class Input {
public:
    virtual ~Input() = default;

    virtual Result<> type(const QString &text, Modifiers modifiers) = 0;
    virtual Result<> pressKey(int keyCode, Modifiers modifiers) = 0;
    virtual Result<> holdKey(int keyCode, bool down) = 0;
    virtual Result<> holdModifier(Modifier modifier, bool down) = 0;
    virtual Result<> click(QPoint at, Click click, Modifiers modifiers) = 0;
};

} // namespace ombru::applescript
