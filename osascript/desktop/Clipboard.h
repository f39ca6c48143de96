// The text on the clipboard (the CLIPBOARD selection). One thread.
#pragma once
#include "platform/linux/x11/X11.h"

namespace ombru {

// Empty when it holds no text. A Failure when the program that owns it does not hand it over.
Result<QString> readClipboard(X11 &x11);

// Returns once the text can be pasted. A process of its own keeps it until something else is copied.
Result<> writeClipboard(const QString &text);

} // namespace ombru
