// Loads the graphical desktop when a script first needs it, and gives the keyboard back when the program is ended by a
// signal meanwhile. One thread.
#pragma once
#include "osascript/desktop/Desktop.h"

namespace ombru {

class DesktopModule {
public:
    DesktopModule();
    ~DesktopModule(); // releases what is held

    // The desktop, loaded by the first call. The Failure says what is missing.
    Result<Desktop *> desktop();

private:
    std::shared_ptr<Desktop> m_desktop; // shared with what is done before an end by a signal
};

} // namespace ombru
