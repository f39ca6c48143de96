// Keeps a window in the colours that the desktop's owner wants, while they change. Main thread, with a graphical
// application.
#pragma once
#include "look/Colours.h"

#include <QWidget>

#include <functional>
#include <memory>

namespace ombru {

class Look {
public:
    // Dresses the window now, and again whenever its colours become others. The window outlives this.
    Look(QWidget &window, std::function<void(const Colours &)> dress);
    ~Look();
    Look(const Look &) = delete;
    Look &operator=(const Look &) = delete;

    const Colours &colours() const { return *m_colours; }

    void refresh(); // a window that was never shown is not told what changes

private:
    class PaletteFilter;

    std::function<void(const Colours &)> m_dress;
    const Colours *m_colours = nullptr;
    ColourScheme m_wanted = ColourScheme::unknown;
    std::unique_ptr<PaletteFilter> m_palette;
    ColourSchemeWatch m_scheme;
};

} // namespace ombru
