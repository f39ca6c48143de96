#include "platform/linux/dialog/DialogWindow.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyle>
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

QLabel *makeLabel(const QString &text, bool bold) {
    auto *label = new QLabel(text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    label->setFixedWidth(TEXT_WIDTH);
    label->setMinimumHeight(label->heightForWidth(TEXT_WIDTH));
    QFont font = label->font();
    font.setBold(bold);
    label->setFont(font);
    return label;
}

// A text longer than half the screen scrolls, so that the buttons stay in reach.
QWidget *withinScreen(QLabel *label) {
    const int most = QGuiApplication::primaryScreen()->availableGeometry().height() / 2;
    if (label->heightForWidth(TEXT_WIDTH) <= most)
        return label;
    auto *area = new QScrollArea;
    area->setWidget(label);
    area->setFixedHeight(most);
    area->setMinimumWidth(TEXT_WIDTH + area->verticalScrollBar()->sizeHint().width() + 8);
    return area;
}

} // namespace

DialogWindow::DialogWindow(const DialogRequest &request, std::function<void(const DialogAnswer &)> onAnswer)
    : m_request(request), m_onAnswer(std::move(onAnswer)) {
    setWindowTitle(request.title.isEmpty() ? u"osascript"_s : request.title);
    auto *column = new QVBoxLayout;
    addTexts(*column);
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
    giveUpLater();
}

void DialogWindow::addTexts(QBoxLayout &column) {
    const bool alert = m_request.kind == DialogRequest::Kind::alert;
    column.addWidget(withinScreen(makeLabel(m_request.text, alert)));
    if (!m_request.message.isEmpty())
        column.addWidget(withinScreen(makeLabel(m_request.message, false)));
}

void DialogWindow::addField(QBoxLayout &column) {
    if (!m_request.defaultText)
        return;
    m_field = new QLineEdit(*m_request.defaultText);
    m_field->setEchoMode(m_request.hiddenText ? QLineEdit::Password : QLineEdit::Normal);
    m_field->selectAll();
    m_field->setFocus();
    column.addWidget(m_field);
}

void DialogWindow::addButtons(QBoxLayout &column) {
    auto *row = new QHBoxLayout;
    row->addStretch();
    for (int index = 0; index < m_request.buttons.size(); ++index) {
        // A button's name is not a mnemonic.
        auto *button = new QPushButton(QString(m_request.buttons[index]).replace(u'&', u"&&"_s));
        button->setAutoDefault(false);
        button->setDefault(index == m_request.defaultButton);
        if (index == m_request.defaultButton && !m_field)
            button->setFocus();
        connect(button, &QPushButton::clicked, this, [this, index] { answer(index); });
        row->addWidget(button);
    }
    column.addLayout(row);
}

void DialogWindow::giveUpLater() {
    if (m_request.givingUpAfter <= 0)
        return;
    constexpr double LONGEST = 24.0 * 24 * 3600 * 1000; // what a timer can wait
    const double wait = std::min(std::ceil(m_request.givingUpAfter * 1000), LONGEST);
    QTimer::singleShot(static_cast<int>(wait), this, [this] { answer(-1, true); });
}

void DialogWindow::showInFront() {
    show();
    raise();
    activateWindow();
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
