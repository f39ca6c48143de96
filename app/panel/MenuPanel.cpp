#include "app/panel/MenuPanel.h"

#include "app/panel/PanelPlace.h"
#include "app/panel/Symbol.h"
#include "look/Letters.h"

#include <QApplication>
#include <QCursor>
#include <QFrame>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int WIDTH = 320; // pixels, with ordinary letters
constexpr int MARGIN = 16;
constexpr int SPACING = 12;
constexpr int POWER = 16;
constexpr int EDGE = 8; // around a panel that fills the screen
constexpr Clock::Duration JUST = std::chrono::milliseconds(300);

QScreen *screenOf(const QRect &icon) {
    auto *screen = QGuiApplication::screenAt(icon.isEmpty() ? QCursor::pos() : icon.center());
    return screen ? screen : QGuiApplication::primaryScreen();
}

void showPower(QPushButton &button, const QColor &colour) {
    const int size = withLetters(POWER);
    button.setIcon(symbolPixmap(u"power"_s, size, colour, button.devicePixelRatioF()));
    button.setIconSize({size, size});
}

} // namespace

MenuPanel::MenuPanel(Receiver receiver)
    : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint), m_receiver(std::move(receiver)) {
    setWindowTitle(u"ombru: panel"_s);
    setObjectName(u"panel"_s);
    setAttribute(Qt::WA_StyledBackground);
    setAttribute(Qt::WA_QuitOnClose, false);
    setAccessibleName(u"ombru"_s);
    setFocusPolicy(Qt::StrongFocus);
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    auto *list = new QWidget;
    list->setObjectName(u"lines"_s);
    m_lines = new QVBoxLayout(list);
    m_lines->setContentsMargins(MARGIN, MARGIN, MARGIN, MARGIN);
    m_lines->setSpacing(SPACING);
    m_scroll = new QScrollArea;
    m_scroll->setWidget(list);
    m_scroll->setWidgetResizable(true);
    list->setAutoFillBackground(false);
    m_scroll->viewport()->setAutoFillBackground(false);
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setFocusPolicy(Qt::NoFocus);
    m_scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_footer = new QFrame;
    m_footer->setObjectName(u"footer"_s);
    m_bottom = new QHBoxLayout(m_footer);
    m_bottom->setContentsMargins(MARGIN - 6, 6, MARGIN - 6, 6);
    column->addWidget(m_scroll);
    column->addWidget(m_footer);
    connect(qApp, &QApplication::focusChanged, m_scroll, [this, list](QWidget *, QWidget *now) {
        if (now && list->isAncestorOf(now))
            m_scroll->ensureWidgetVisible(now);
    });
    m_look.emplace(*this, [this](const Colours &colours) { dress(colours); });
}

// In the desktop's letters, and light or dark as its windows are.
void MenuPanel::dress(const Colours &colours) {
    m_colours = &colours;
    setStyleSheet(panelStyle(colours));
    m_bottomShown.clear();
    showLines();
    showBottom();
    orderButtons();
    if (isVisible())
        fit(m_icon);
}

void MenuPanel::show(const PanelContent &content) {
    if (content == m_content)
        return;
    m_content = content;
    showLines();
    showBottom();
    orderButtons();
    if (isVisible())
        fit(m_icon);
}

void MenuPanel::showLines() {
    while (m_rows.size() < m_content.lines.size()) {
        m_rows.push_back(new PanelRow(m_receiver.onAction));
        m_lines->addWidget(m_rows.back());
    }
    const int width = widthOfAll() - 2 * MARGIN - m_scroll->verticalScrollBar()->sizeHint().width();
    for (std::size_t index = 0; index < m_rows.size(); ++index) {
        const bool isUsed = index < m_content.lines.size();
        m_rows[index]->show(isUsed ? m_content.lines[index] : PanelLine(), *m_colours, width);
        m_rows[index]->setVisible(isUsed);
    }
}

void MenuPanel::showBottom() {
    if (m_content.bottom == m_bottomShown)
        return;
    dropPanelButtons(*m_bottom);
    for (const auto &button : m_content.bottom) {
        const bool isQuit = button.action.what == PanelAction::What::quit;
        if (isQuit)
            m_bottom->addStretch();
        auto *widget = addPanelButton(*m_bottom, button, m_receiver.onAction);
        if (isQuit)
            showPower(*widget, m_colours->inkQuiet);
    }
    m_bottomShown = m_content.bottom;
}

// As they are seen, whatever was made first.
void MenuPanel::orderButtons() {
    QList<QPushButton *> buttons;
    for (auto *row : m_rows)
        buttons += row->buttons();
    for (int index = 0; index < m_bottom->count(); ++index)
        if (auto *button = qobject_cast<QPushButton *>(m_bottom->itemAt(index)->widget()))
            buttons += button;
    QWidget *last = this;
    for (auto *button : std::as_const(buttons))
        setTabOrder(std::exchange(last, button), button);
}

void MenuPanel::open(const QRect &icon) {
    m_icon = icon;
    m_look->refresh();
    showLines(); // the screen may be another one
    fit(icon);
    setFocus(); // no button: a key that was meant for another window must not press one
    QWidget::show();
    raise();
    activateWindow();
}

void MenuPanel::fit(const QRect &icon) {
    const auto *screen = screenOf(icon);
    if (!screen)
        return;
    ensurePolished();
    setFixedWidth(widthOfAll());
    const int most = screen->availableGeometry().height() - 2 * EDGE;
    setFixedHeight(std::min(heightOfAll(), most));
    layout()->activate();
    move(panelPlace(icon, size(), screen->geometry(), screen->availableGeometry()));
}

int MenuPanel::widthOfAll() const {
    const auto *screen = screenOf(m_icon);
    const int wanted = withLetters(WIDTH);
    return screen ? std::min(wanted, screen->availableGeometry().width() - 2 * EDGE) : wanted;
}

// A row whose text or buttons have changed tells the layout above it only in the loop's next turn.
int MenuPanel::heightOfAll() const {
    for (auto *row : m_rows)
        row->updateGeometry();
    m_lines->activate();
    return m_lines->totalHeightForWidth(width()) + m_footer->sizeHint().height();
}

void MenuPanel::keyPressEvent(QKeyEvent *event) {
    if (event->key() == Qt::Key_Escape)
        hide();
    else if (event->key() == Qt::Key_Down || event->key() == Qt::Key_Right)
        focusNextChild();
    else if (event->key() == Qt::Key_Up || event->key() == Qt::Key_Left)
        focusPreviousChild();
    else
        QWidget::keyPressEvent(event);
}

void MenuPanel::changeEvent(QEvent *event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && !isActiveWindow() && isVisible() && !m_keptOpen && !m_isClosing)
        leave();
}

// What is being hidden is told that it is active no more while it still counts as visible.
void MenuPanel::setVisible(bool visible) {
    m_isClosing = !visible;
    QWidget::setVisible(visible);
}

void MenuPanel::leave() {
    m_left = Clock::now();
    hide();
}

bool MenuPanel::wasJustLeft() const {
    return m_left && Clock::now() - *m_left < JUST;
}

// Where no window takes the focus, on the desktop's background, a click is heard of only so.
void MenuPanel::noteClick() {
    const auto place = QCursor::pos();
    if (!frameGeometry().contains(place) && !m_icon.contains(place))
        leave();
}

void MenuPanel::showEvent(QShowEvent *event) {
    QWidget::showEvent(event);
    m_clicks.emplace(InputWatch::What::clicks, [this] { noteClick(); });
    m_receiver.onOpen(true);
}

void MenuPanel::hideEvent(QHideEvent *event) {
    QWidget::hideEvent(event);
    m_clicks.reset();
    m_receiver.onOpen(false);
}

} // namespace ombru
