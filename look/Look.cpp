#include "look/Look.h"

#include <QApplication>
#include <QEvent>

#include <utility>

namespace ombru {

class Look::ChangeFilter : public QObject {
public:
    ChangeFilter(Look &look, QWidget &window) : m_look(look) { window.installEventFilter(this); }

    bool eventFilter(QObject *, QEvent *event) override {
        if (event->type() == QEvent::ApplicationPaletteChange)
            m_look.refresh();
        else if (event->type() == QEvent::ApplicationFontChange || event->type() == QEvent::FontChange)
            m_look.refreshLetters();
        return false;
    }

private:
    Look &m_look;
};

Look::Look(QWidget &window, std::function<void(const Colours &)> dress)
    : m_dress(std::move(dress)), m_font(QApplication::font()), m_changes(std::make_unique<ChangeFilter>(*this, window)),
      m_scheme([this](ColourScheme wanted) {
          m_wanted = wanted;
          refresh();
      }) {
    refresh();
}

Look::~Look() = default;

void Look::refresh() {
    const auto *colours = &wantedColours(m_wanted, QApplication::palette());
    if (std::exchange(m_colours, colours) != colours)
        m_dress(*colours);
}

void Look::refreshLetters() {
    const auto before = std::exchange(m_font, QApplication::font());
    if (before != m_font)
        m_dress(*m_colours);
}

} // namespace ombru
