// Keeps a window in the colours that the desktop's owner wants, and in the desktop's letters, while they change. Main
// thread, with a graphical application.
#pragma once
#include "look/Colours.h"

#include <QFont>
#include <QWidget>

#include <functional>
#include <memory>

namespace ombru {

class Look {
public:
    // Dresses the window now, and again whenever its colours or letters become others. The window outlives this.
    Look(QWidget &window, std::function<void(const Colours &)> dress);
    ~Look();
    Look(const Look &) = delete;
    Look &operator=(const Look &) = delete;

    const Colours &colours() const { return *m_colours; }

    void refresh(); // a window that was never shown is not told what changes

private:
    class ChangeFilter;

    void refreshLetters();

    std::function<void(const Colours &)> m_dress;
    const Colours *m_colours = nullptr;
    ColourScheme m_wanted = ColourScheme::unknown;
    QFont m_font; // the desktop's, when the window was dressed
    std::unique_ptr<ChangeFilter> m_changes;
    ColourSchemeWatch m_scheme;
};

} // namespace ombru
