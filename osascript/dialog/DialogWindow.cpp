#include "osascript/dialog/DialogWindow.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyle>
#include <QTextCursor>
#include <QTextEdit>
#include <QTimer>
#include <QVBoxLayout>

#include <cmath>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

using applescript::DialogAnswer;
using applescript::DialogRequest;

constexpr int TEXT_WIDTH = 380; // in pixels
constexpr int ICON_SIZE = 48;

QStyle::StandardPixmap pixmapOf(DialogRequest::Icon icon) {
    switch (icon) {
    case DialogRequest::Icon::stop:
        return QStyle::SP_MessageBoxCritical;
    case DialogRequest::Icon::caution:
        return QStyle::SP_MessageBoxWarning;
    case DialogRequest::Icon::note:
    case DialogRequest::Icon::none:
        break;
    }
    return QStyle::SP_MessageBoxInformation;
}

// What the window may take of the screen, without its frame.
QSize room() {
    constexpr QSize FRAME(20, 60);
    return QGuiApplication::primaryScreen()->availableSize() - FRAME;
}

// A text that wraps, within words where they are too long, and can be selected. The first paragraphs are `text`.
QTextEdit *makeText(const QString &text, bool bold, const QString &message) {
    auto *area = new QTextEdit;
    area->setReadOnly(true);
    area->setTextInteractionFlags(Qt::TextSelectableByMouse);
    area->setFocusPolicy(Qt::ClickFocus);
    area->setFrameShape(QFrame::NoFrame);
    area->viewport()->setAutoFillBackground(false);
    area->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->document()->setDocumentMargin(0);
    QTextCharFormat format;
    format.setFontWeight(bold ? QFont::Bold : QFont::Normal);
    QTextCursor cursor(area->document());
    cursor.insertText(text, format);
    if (!message.isEmpty()) {
        QTextBlockFormat apart;
        apart.setTopMargin(area->fontMetrics().height() / 2.0);
        cursor.insertBlock(apart, QTextCharFormat());
        cursor.insertText(message, QTextCharFormat());
    }
    area->moveCursor(QTextCursor::Start);
    return area;
}

// As high as its text, if there is that much room; else it scrolls.
void fitHeight(QTextEdit &area, int most) {
    area.setFixedWidth(TEXT_WIDTH);
    area.document()->setTextWidth(TEXT_WIDTH);
    const int whole = static_cast<int>(std::ceil(area.document()->size().height()));
    area.setFixedHeight(std::min(whole, most));
    area.setVerticalScrollBarPolicy(whole > most ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    if (whole > most)
        area.setFixedWidth(TEXT_WIDTH + area.verticalScrollBar()->sizeHint().width());
}

// A button's name is not a mnemonic.
QString literally(QString name) {
    return name.replace(u'&', u"&&"_s);
}

// A name that is too long keeps both its ends; the whole of it shows under the pointer.
QPushButton *makeNamed(const QString &name, int widest) {
    auto *button = new QPushButton(literally(name));
    const QFontMetrics letters = button->fontMetrics();
    const int beside = button->sizeHint().width() - letters.horizontalAdvance(name);
    const QString shown = letters.elidedText(name, Qt::ElideMiddle, widest - std::max(beside, 0));
    if (shown != name) {
        button->setToolTip(name.toHtmlEscaped());
        button->setText(literally(shown));
    }
    return button;
}

int widthOf(const std::vector<QPushButton *> &buttons, int spacing) {
    int width = 0;
    for (const auto *button : buttons)
        width += button->sizeHint().width() + spacing;
    return width;
}

// One below the other; more of them than half the screen holds scroll.
QWidget *stackOf(const std::vector<QPushButton *> &buttons) {
    auto *stack = new QWidget;
    auto *column = new QVBoxLayout(stack);
    column->setContentsMargins(0, 0, 0, 0);
    for (auto *button : buttons)
        column->addWidget(button);
    const int most = room().height() / 2;
    if (column->sizeHint().height() <= most)
        return stack;
    auto *area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(stack);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setFixedHeight(most);
    area->setMinimumWidth(column->sizeHint().width() + area->verticalScrollBar()->sizeHint().width());
    return area;
}

} // namespace

DialogWindow::DialogWindow(const DialogRequest &request, std::function<void(const DialogAnswer &)> onAnswer)
    : m_request(request), m_onAnswer(std::move(onAnswer)) {
    setWindowTitle(request.title.isEmpty() ? u"osascript"_s : request.title);
    auto *column = new QVBoxLayout;
    auto *text = makeText(request.text, request.kind == DialogRequest::Kind::alert, request.message);
    column->addWidget(text);
    addField(*column);
    addButtons(*column);
    auto *row = new QHBoxLayout(this);
    if (request.icon != DialogRequest::Icon::none) {
        auto *icon = new QLabel;
        icon->setPixmap(style()->standardIcon(pixmapOf(request.icon)).pixmap(ICON_SIZE));
        row->addWidget(icon, 0, Qt::AlignTop);
    }
    row->addLayout(column);
    row->setSizeConstraint(QLayout::SetFixedSize);
    fitHeight(*text, 0); // what the rest needs is known only within the window
    fitHeight(*text, room().height() - row->totalSizeHint().height());
    // Only once it is part of the window: keys that come before the window is active are the field's, too.
    if (m_field)
        m_field->setFocus();
    giveUpLater();
}

void DialogWindow::addField(QBoxLayout &column) {
    if (!m_request.defaultText)
        return;
    m_field = new QLineEdit(*m_request.defaultText);
    m_field->setEchoMode(m_request.hiddenText ? QLineEdit::Password : QLineEdit::Normal);
    m_field->selectAll();
    column.addWidget(m_field);
}

void DialogWindow::addButtons(QBoxLayout &column) {
    const int widest = room().width() / 2;
    std::vector<QPushButton *> buttons;
    for (int index = 0; index < m_request.buttons.size(); ++index)
        buttons.push_back(makeButton(index, widest));
    const int spacing = style()->pixelMetric(QStyle::PM_LayoutHorizontalSpacing);
    if (widthOf(buttons, spacing) <= widest) {
        auto *row = new QHBoxLayout;
        row->addStretch();
        for (auto *button : buttons)
            row->addWidget(button);
        column.addLayout(row);
    } else {
        column.addWidget(stackOf(buttons));
    }
}

QPushButton *DialogWindow::makeButton(int index, int widest) {
    auto *button = makeNamed(m_request.buttons[index], widest);
    button->setAutoDefault(false);
    button->setDefault(index == m_request.defaultButton);
    if (index == m_request.defaultButton && !m_field)
        button->setFocus();
    connect(button, &QPushButton::clicked, this, [this, index] { answer(index); });
    return button;
}

void DialogWindow::giveUpLater() {
    if (m_request.givingUpAfter <= 0)
        return;
    constexpr double LONGEST = 24.0 * 24 * 3600 * 1000; // what a timer can wait
    const double wait = std::min(std::ceil(m_request.givingUpAfter * 1000), LONGEST);
    QTimer::singleShot(static_cast<int>(wait), this, [this] { answer(-1, true); });
}

void DialogWindow::reject() {
    answer(m_request.cancelButton);
}

void DialogWindow::answer(int button, bool gaveUp) {
    if (!m_onAnswer)
        return;
    const auto tell = std::exchange(m_onAnswer, nullptr);
    hide();
    tell({.button = button, .text = m_field ? m_field->text() : QString(), .gaveUp = gaveUp});
}

} // namespace ombru
