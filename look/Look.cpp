#include "look/Look.h"

#include <QApplication>
#include <QEvent>

#include <utility>

namespace ombru {

class Look::PaletteFilter : public QObject {
public:
    PaletteFilter(Look &look, QWidget &window) : m_look(look) { window.installEventFilter(this); }

    bool eventFilter(QObject *, QEvent *event) override {
        if (event->type() == QEvent::ApplicationPaletteChange)
            m_look.refresh();
        return false;
    }

private:
    Look &m_look;
};

Look::Look(QWidget &window, std::function<void(const Colours &)> dress)
    : m_dress(std::move(dress)), m_palette(std::make_unique<PaletteFilter>(*this, window)),
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

} // namespace ombru
