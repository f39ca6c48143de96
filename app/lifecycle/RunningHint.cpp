#include "app/lifecycle/RunningHint.h"

#include "app/panel/Symbol.h"
#include "base/Loop.h"
#include "look/Letters.h"
#include "look/Style.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int SYMBOL = 48; // pixels, with ordinary letters

const QString TEXT =
    u"Click the phone icon at the top right of your screen to sign in, check permissions and see call status. It "
    u"starts automatically when you log in.\n\nTip: hold ⌘ and drag the phone icon next to the clock — macOS "
    u"remembers the spot, and it won't get hidden behind the camera notch."_s;

} // namespace

RunningHintText runningHintText(bool hasPlace) {
    const auto withoutPlace = QCoreApplication::translate(
        "RunningHint",
        "This desktop shows no such icons. Open ombru's panel from your list of applications, or type in "
        "a terminal: ombru panel");
    return {u"ombru is running in your menu bar"_s, hasPlace ? TEXT : TEXT + u"\n\n"_s + withoutPlace};
}

RunningHint::RunningHint(std::function<void()> onClosed) : m_onClosed(std::move(onClosed)) {}
RunningHint::~RunningHint() = default;

void RunningHint::show(bool hasPlace) {
    if (!qApp)
        return;
    if (!m_window) {
        const auto title = runningHintText(hasPlace).title;
        m_window = std::make_unique<QMessageBox>(QMessageBox::NoIcon, title, title, QMessageBox::Ok);
        m_window->button(QMessageBox::Ok)->setIcon({}); // as no button of ours has one
        m_window->setTextFormat(Qt::PlainText);
        m_window->setModal(true);
        m_window->setWindowIcon(QIcon::fromTheme(u"ombru"_s));
        m_look.emplace(*m_window, [this](const Colours &colours) { dress(colours); });
        // Its own signal still runs while it goes away.
        QObject::connect(m_window.get(), &QMessageBox::finished, qApp, [this] {
            onMain(m_window.get(), [this] {
                if (m_window->isVisible()) // it was wanted again meanwhile
                    return;
                m_look.reset();
                m_window.reset();
                m_onClosed();
            });
        });
    }
    setHasPlace(hasPlace);
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

// Beside the text the icon that it speaks of.
void RunningHint::dress(const Colours &colours) {
    m_window->setStyleSheet(windowStyle(colours));
    m_window->setIconPixmap(symbolPixmap(u"phone"_s, withLetters(SYMBOL), colours.ink, m_window->devicePixelRatioF()));
    for (auto *label : m_window->findChildren<QLabel *>())
        if (!label->pixmap().isNull())
            label->setAccessibleName(u"ombru"_s); // a screen reader comes by it
}

void RunningHint::setHasPlace(bool hasPlace) {
    if (m_window)
        m_window->setInformativeText(runningHintText(hasPlace).text);
}

void RunningHint::close() {
    if (m_window)
        m_window->reject();
}

} // namespace ombru
