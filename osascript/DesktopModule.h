// Loads the graphical desktop when a script first needs it, and gives the keyboard back when the program is ended by a
// signal meanwhile. One thread.
#pragma once
#include "osascript/desktop/Desktop.h"

namespace ombru {

class DesktopModule {
public:
    explicit DesktopModule(DesktopCaller caller);
    ~DesktopModule(); // releases what is held
    DesktopModule(const DesktopModule &) = delete;
    DesktopModule &operator=(const DesktopModule &) = delete;

    // facet(&Desktop::input): the first call loads it. The Failure says what is missing.
    template <class Facet>
    Result<Facet *> facet(Facet &(Desktop::*facet)()) {
        if (const auto loaded = load(); !loaded)
            return std::unexpected(loaded.error());
        return &(m_desktop.get()->*facet)();
    }

private:
    Result<> load();

    DesktopCaller m_caller;
    std::shared_ptr<Desktop> m_desktop; // shared with what is done before an end by a signal
};

} // namespace ombru
