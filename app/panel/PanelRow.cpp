#include "app/panel/PanelRow.h"

#include "base/Text.h"
#include "look/Letters.h"

#include <QCoreApplication>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>

namespace ombru {

namespace {

constexpr int DOT = 10;            // pixels
constexpr int CODE_SIZE = 20;      // of the code's letters, in pixels
constexpr int AROUND_BUTTON = 24;  // what a button takes besides its text
constexpr qsizetype LONGEST = 300; // characters of a line; a name may be anything
constexpr qsizetype UNBROKEN = 24;

QPixmap dotPixmap(const QColor &colour, qreal scale) {
    const int size = withLetters(DOT);
    QPixmap pixmap(QSize(size, size) * scale);
    pixmap.setDevicePixelRatio(scale);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    painter.drawEllipse(0, 0, size, size);
    return pixmap;
}

// What the colour says, for whoever does not see it.
QString severityName(Severity severity) {
    switch (severity) {
    case Severity::secondary:
        return QCoreApplication::translate("Panel", "Note");
    case Severity::waiting:
        return QCoreApplication::translate("Panel", "Waiting");
    case Severity::ready:
        return QCoreApplication::translate("Panel", "Ready");
    case Severity::broken:
        return QCoreApplication::translate("Panel", "Problem");
    }
    Q_UNREACHABLE();
}

// A label wraps between words only: a long one may be broken anywhere.
QString breakable(const QString &text) {
    QStringList words = text.split(u' ');
    for (auto &word : words)
        if (characterCount(word) > UNBROKEN)
            word = characters(word).join(QChar(0x200b));
    return words.join(u' ');
}

QLabel *makeText(const QFont &font) {
    auto *label = new QLabel;
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setFont(font);
    return label;
}

QFont mediumFont() {
    QFont font;
    font.setWeight(QFont::Medium);
    return font;
}

QFont codeFont() {
    QFont font;
    font.setPixelSize(withLetters(CODE_SIZE));
    font.setBold(true);
    font.setLetterSpacing(QFont::AbsoluteSpacing, 1);
    return font;
}

} // namespace

PanelRow::PanelRow(OnPanelAction onAction) : m_onAction(std::move(onAction)) {
    m_dot = new QLabel;
    m_text = makeText(mediumFont());
    m_code = makeText({});
    m_code->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_beside = new QHBoxLayout;
    m_under = new QHBoxLayout;
    m_under->setSpacing(8);
    m_grid = new QGridLayout(this);
    m_grid->setContentsMargins(0, 0, 0, 0);
    m_grid->setVerticalSpacing(6);
    m_grid->addWidget(m_dot, 0, 0);
    m_grid->addWidget(m_text, 0, 1);
    m_grid->addLayout(m_beside, 0, 2);
    m_grid->addWidget(m_code, 1, 1, 1, 2);
    m_grid->addLayout(m_under, 2, 1, 1, 2);
    m_grid->setColumnStretch(1, 1);
}

void PanelRow::show(const PanelLine &line, const Colours &colours, int width) {
    m_grid->setHorizontalSpacing(withLetters(DOT));
    m_code->setFont(codeFont());
    const auto text = shownLine(line.text, LONGEST);
    m_dot->setPixmap(dotPixmap(dotColour(colours, line.severity), devicePixelRatioF()));
    m_dot->setAccessibleName(severityName(line.severity));
    m_text->setText(breakable(text));
    m_text->setAccessibleName(text);
    m_code->setText(shownLine(line.code, LONGEST));
    m_code->setVisible(!line.code.isEmpty());
    showButtons(line.buttons, !line.code.isEmpty() || line.buttons.size() > 1 || !hasRoomBeside(line.buttons, width));
}

// Beside the longest of the words, which are not broken.
bool PanelRow::hasRoomBeside(const std::vector<PanelButton> &buttons, int width) const {
    int taken = 2 * withLetters(DOT) + m_text->minimumSizeHint().width();
    for (const auto &button : buttons)
        taken += withLetters(DOT) + fontMetrics().horizontalAdvance(button.text) + AROUND_BUTTON;
    return taken <= width;
}

void PanelRow::showButtons(const std::vector<PanelButton> &buttons, bool below) {
    if (buttons == m_shown && below == m_below)
        return;
    dropPanelButtons(*m_beside);
    dropPanelButtons(*m_under);
    m_buttons.clear();
    for (const auto &button : buttons)
        m_buttons += addPanelButton(below ? *m_under : *m_beside, button, m_onAction);
    if (below)
        m_under->addStretch();
    m_shown = buttons;
    m_below = below;
}

} // namespace ombru
