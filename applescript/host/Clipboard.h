// The text on the clipboard.
#pragma once
#include "base/Failure.h"

#include <QString>

namespace ombru::applescript {

class Clipboard {
public:
    virtual ~Clipboard() = default;

    virtual Result<QString> text() = 0; // empty when it holds none
    virtual Result<> setText(const QString &text) = 0;
};

} // namespace ombru::applescript
