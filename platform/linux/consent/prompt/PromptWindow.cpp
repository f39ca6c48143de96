#include "platform/linux/consent/prompt/PromptWindow.h"

#include "look/Letters.h"
#include "look/Style.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QFormLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

constexpr int TEXT_WIDTH = 440; // pixels, with ordinary letters
constexpr int ICON_SIZE = 64;
constexpr int MARGIN = 20;
constexpr int FRAME = 16;     // what a window manager draws around
constexpr double LARGE = 1.2; // of the ordinary letters
constexpr double SMALL = 0.85;

QLabel *makeLabel(const QString &text, double size = 1, bool bold = false) {
    auto *label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * size);
    font.setBold(bold);
    label->setFont(font);
    return label;
}

// A place has no spaces to break lines at.
QString breakable(const QString &place) {
    QString result;
    for (const QChar unit : place) {
        result += unit;
        if (!unit.isHighSurrogate())
            result += u'\u200B';
    }
    return result;
}

QLabel *makeQuiet(const QString &text) {
    auto *label = makeLabel(text, SMALL);
    label->setProperty("quiet", true);
    return label;
}

QLabel *makePlace(const QString &text) {
    auto *label = makeQuiet(breakable(text));
    label->setAccessibleName(text);
    label->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    return label;
}

// Wider than that the window would leave the screen.
int textWidth() {
    const int most = QGuiApplication::primaryScreen()->availableGeometry().width() - ICON_SIZE - 3 * MARGIN - FRAME;
    return std::min(withLetters(TEXT_WIDTH), most);
}

QIcon iconOf(const QString &name, const QStyle &style) {
    // Anything but an ordinary file could keep us waiting.
    const bool isPath = name.startsWith(u'/');
    const QIcon icon = !isPath ? QIcon::fromTheme(name) : QFileInfo(name).isFile() ? QIcon(name) : QIcon();
    if (!icon.pixmap(ICON_SIZE).isNull())
        return icon;
    const auto ours = QIcon::fromTheme(u"ombru"_s);
    return ours.pixmap(ICON_SIZE).isNull() ? style.standardIcon(QStyle::SP_MessageBoxQuestion) : ours;
}

} // namespace

PromptWindow::PromptWindow(const PromptText &text, std::function<void(bool allowed)> onAnswer)
    : m_onAnswer(std::move(onAnswer)),
      m_look(*this, [this](const Colours &colours) { setStyleSheet(windowStyle(colours)); }) {
    setWindowTitle(text.title);
    setWindowFlag(Qt::WindowStaysOnTopHint);
    auto *row = new QHBoxLayout;
    setWindowIcon(iconOf(text.icon, *style()));
    auto *icon = new QLabel;
    icon->setPixmap(windowIcon().pixmap(ICON_SIZE));
    row->addWidget(icon, 0, Qt::AlignTop);
    row->addSpacing(MARGIN);
    row->addLayout(texts(text));
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(MARGIN, MARGIN, MARGIN, MARGIN);
    column->setSpacing(MARGIN);
    column->addLayout(row);
    column->addLayout(buttons(text));
    column->setSizeConstraint(QLayout::SetFixedSize);
    adjustSize();
    move(QGuiApplication::primaryScreen()->availableGeometry().center() - rect().center());
}

QBoxLayout *PromptWindow::texts(const PromptText &text) {
    auto *column = new QVBoxLayout;
    column->setSpacing(MARGIN / 2);
    column->addWidget(makeLabel(text.question, LARGE, true));
    auto *places = new QFormLayout;
    places->setVerticalSpacing(2);
    places->addRow(makeQuiet(QCoreApplication::translate("Prompt", "Program:")), makePlace(text.client));
    places->addRow(makeQuiet(QCoreApplication::translate("Prompt", "Application:")), makePlace(text.application));
    column->addLayout(places);
    column->addWidget(makeLabel(text.meaning));
    column->addWidget(makeQuiet(text.later));
    // Labels that wrap know their height once they know their width.
    for (auto *label : {column->itemAt(0), column->itemAt(2), column->itemAt(3)}) {
        label->widget()->setFixedWidth(textWidth());
        label->widget()->setMinimumHeight(label->widget()->heightForWidth(textWidth()));
    }
    return column;
}

QBoxLayout *PromptWindow::buttons(const PromptText &text) {
    auto *row = new QHBoxLayout;
    row->addStretch();
    const auto add = [&](const QString &name, bool allowed) {
        auto *button = new QPushButton(name);
        button->setAutoDefault(false);
        button->setDefault(!allowed);
        connect(button, &QPushButton::clicked, this, [this, allowed] { answer(allowed); });
        row->addWidget(button);
        return button;
    };
    add(text.no, false)->setFocus();
    // Without a key of its own, in any language: one that is held down or sent would be an answer.
    m_guard.protect(*add(QString(text.yes).remove(u'&'), true));
    return row;
}

void PromptWindow::reject() {
    answer(false);
}

void PromptWindow::answer(bool allowed) {
    if (!m_onAnswer)
        return;
    const auto tell = std::exchange(m_onAnswer, nullptr);
    hide();
    tell(allowed);
}

} // namespace ombru
