// The text on the clipboard (the CLIPBOARD selection). One thread; each operation opens the display for itself.
#pragma once
#include "applescript/host/Clipboard.h"
#include "osascript/desktop/Turns.h"

namespace ombru {

class X11Clipboard : public applescript::Clipboard {
public:
    explicit X11Clipboard(Turns &turns) : m_turns(&turns) {}

    // A Failure when the program that owns it does not hand it over.
    Result<QString> text() override;

    // Returns once the text can be pasted. A process of its own keeps it until something else is copied.
    Result<> setText(const QString &text) override;

private:
    Turns *m_turns;
};

} // namespace ombru
