// What a window takes for its owner's answer, and when.
#include "platform/linux/consent/prompt/InputGuard.h"

#include "platform/AssistiveAccess.h"
#include "platform/linux/consent/prompt/PromptWindow.h"
#include "platform/linux/windows/ShowInFront.h"
#include "tests/support/Wait.h"

#include <QAccessible>
#include <QApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPushButton>
#include <QWindow>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

constexpr quint32 RETURN_KEY = 36; // as the display counts them

class Guarded : public QWidget {
public:
    InputGuard guard{*this};
    QPushButton button{u"Allow"_s, this};
    int clicks = 0;

    Guarded() {
        setWindowFlag(Qt::X11BypassWindowManagerHint); // which stays where it is put
        setGeometry(100, 100, 300, 200);
        button.setGeometry(100, 100, 100, 40);
        guard.protect(button);
        connect(&button, &QPushButton::clicked, this, [this] { ++clicks; });
    }
};

class InputGuardTest : public ::testing::Test {
protected:
    InputGuardTest() { QCursor::setPos(0, 0); }

    // The moment is the display's; a key that the display repeats itself comes up and down in the same one.
    void send(QEvent::Type type, quint64 moment, bool repeat = false) {
        QKeyEvent event(type, Qt::Key_Space, Qt::NoModifier, RETURN_KEY, 0, 0, u" "_s, repeat);
        event.setTimestamp(moment);
        QCoreApplication::sendEvent(&window.button, &event);
    }
    void strike(quint64 moment) {
        send(QEvent::KeyPress, moment);
        send(QEvent::KeyRelease, moment + 1);
    }
    void click() {
        for (const auto type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
            const QPointF middle = window.button.rect().center();
            QMouseEvent event(type, middle, window.button.mapToGlobal(middle), Qt::LeftButton,
                              type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
            QCoreApplication::sendEvent(&window.button, &event);
        }
    }
    bool comesToTakeAnswers() {
        return waitUntil([&] {
            clock.advance(std::chrono::milliseconds(500));
            return window.guard.takesAnswers() && window.button.isEnabled();
        });
    }
    void showAndWait() {
        showInFront(window);
        ASSERT_TRUE(comesToTakeAnswers());
        window.button.setFocus();
    }
    QPoint middle() const { return window.button.mapToGlobal(window.button.rect().center()); }
    // A person's pointer, or one that is told where to be: the window sees it there.
    void movePointer(QPoint place) {
        QCursor::setPos(place);
        ASSERT_TRUE(waitUntil([&] { return QCursor::pos() == place; }));
        settle();
    }

    ManualClock clock;
    Guarded window;
};

} // namespace

TEST_F(InputGuardTest, NothingIsTakenBeforeTheWindowCouldBeSeen) {
    strike(1000);
    click();
    EXPECT_FALSE(window.close());
    EXPECT_EQ(window.clicks, 0);
}

TEST_F(InputGuardTest, AfterASecondOnTheScreenAllIsTaken) {
    showAndWait();
    strike(1000);
    click();
    EXPECT_EQ(window.clicks, 2);
    EXPECT_TRUE(window.close());
}

TEST_F(InputGuardTest, GettingTheFocusBeginsThePauseAnew) {
    showAndWait();
    QEvent activated(QEvent::WindowActivate);
    QCoreApplication::sendEvent(&window, &activated);
    EXPECT_FALSE(window.button.isEnabled());
    clock.advance(std::chrono::milliseconds(999));
    settle();
    EXPECT_FALSE(window.button.isEnabled());
    EXPECT_FALSE(window.guard.takesAnswers());
    strike(1000);
    click();
    EXPECT_FALSE(window.close());
    EXPECT_EQ(window.clicks, 0);
    clock.advance(std::chrono::milliseconds(1));
    EXPECT_TRUE(comesToTakeAnswers()); // the display may tell late that the window is shown, and begin it once more
    window.button.setFocus();
    strike(2000);
    click();
    EXPECT_EQ(window.clicks, 2);
}

TEST_F(InputGuardTest, BeingUncoveredBeginsThePauseAnew) {
    showAndWait();
    QWidget cover(nullptr, Qt::X11BypassWindowManagerHint);
    cover.setGeometry(window.geometry());
    cover.show();
    cover.raise();
    ASSERT_TRUE(waitUntil([&] { return cover.windowHandle()->isExposed(); }));
    settle();
    cover.hide();
    ASSERT_TRUE(waitUntil([&] { return !window.guard.takesAnswers(); }));
    EXPECT_FALSE(window.button.isEnabled());
    strike(1000);
    click();
    EXPECT_EQ(window.clicks, 0);
    EXPECT_TRUE(comesToTakeAnswers());
}

TEST_F(InputGuardTest, AClickOfAPointerThatTheWindowOpenedUnderIsNone) {
    showAndWait();
    const auto place = middle();
    window.hide();
    movePointer(place);
    showInFront(window);
    ASSERT_TRUE(comesToTakeAnswers());
    click();
    EXPECT_EQ(window.clicks, 0);
    movePointer(place + QPoint(3, 2));
    click();
    EXPECT_EQ(window.clicks, 0) << "it has to come from outside";
    movePointer(place - QPoint(0, 60));
    movePointer(place);
    click();
    EXPECT_EQ(window.clicks, 1);
}

TEST_F(InputGuardTest, AClickOfAPointerThatTheWindowWasMovedUnderIsNone) {
    showAndWait();
    movePointer(middle() - QPoint(0, 60));
    const auto before = middle();
    window.move(window.pos() - QPoint(0, 60));
    ASSERT_TRUE(waitUntil([&] { return middle() == before - QPoint(0, 60); }));
    ASSERT_TRUE(comesToTakeAnswers());
    click();
    EXPECT_EQ(window.clicks, 0);
}

TEST_F(InputGuardTest, AHeldKeyIsNoAnswer) {
    showAndWait();
    for (quint64 moment = 1000; moment < 2000; moment += 40) {
        send(QEvent::KeyRelease, moment);
        send(QEvent::KeyPress, moment);
    }
    send(QEvent::KeyRelease, 3000);
    send(QEvent::KeyPress, 4000, true);
    send(QEvent::KeyRelease, 4001, true);
    EXPECT_EQ(window.clicks, 0);
    strike(5000);
    EXPECT_EQ(window.clicks, 1);
}

TEST_F(InputGuardTest, AHeldShortcutIsNone) {
    showAndWait();
    QKeyEvent held(QEvent::ShortcutOverride, Qt::Key_A, Qt::AltModifier, 38, 0, 0, u"a"_s, true);
    held.ignore();
    QCoreApplication::sendEvent(window.windowHandle(), &held);
    EXPECT_TRUE(held.isAccepted()); // so that it is not looked up
}

TEST_F(InputGuardTest, OtherWindowsAreLeftAlone) {
    QPushButton other(u"Other"_s);
    int clicks = 0;
    QObject::connect(&other, &QPushButton::clicked, &other, [&] { ++clicks; });
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier);
    QKeyEvent release(QEvent::KeyRelease, Qt::Key_Space, Qt::NoModifier);
    QCoreApplication::sendEvent(&other, &press);
    QCoreApplication::sendEvent(&other, &release);
    EXPECT_EQ(clicks, 1);
}

class PromptWindowTest : public ::testing::Test {
protected:
    PromptWindowTest() {
        text.question = text.meaning = text.later = u"words"_s;
        text.no = u"&Don’t Allow"_s;
        text.yes = u"&Allow"_s; // as a translation may have it
        window = std::make_unique<PromptWindow>(text, [this](bool allowed) { answer = allowed; });
        showInFront(*window);
        EXPECT_TRUE(waitUntil([&] { return window->windowHandle()->isExposed(); }));
    }
    QPushButton &button(const QString &name) const {
        for (auto *found : window->findChildren<QPushButton *>()) {
            if (found->text().remove(u'&') == name)
                return *found;
        }
        ADD_FAILURE() << "no button " << name.toStdString();
        std::abort();
    }
    void strike(Qt::Key key) const {
        for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
            QKeyEvent event(type, key, Qt::NoModifier);
            QCoreApplication::sendEvent(window->focusWidget(), &event);
        }
    }

    ManualClock clock;
    PromptText text;
    std::unique_ptr<PromptWindow> window;
    std::optional<bool> answer;
};

TEST_F(PromptWindowTest, HasTheFocusOnDontAllow) {
    const auto *focused = qobject_cast<QPushButton *>(window->focusWidget());
    ASSERT_TRUE(focused);
    EXPECT_TRUE(focused->isDefault());
    EXPECT_TRUE(focused->text().contains(u"Don"_s));
}

TEST_F(PromptWindowTest, AllowIsDisabledAtFirstAndIsReachedByTab) {
    auto &allow = button(u"Allow"_s);
    EXPECT_FALSE(allow.isEnabled());
    ASSERT_TRUE(waitUntil([&] {
        clock.advance(std::chrono::seconds(1));
        return allow.isEnabled();
    }));
    strike(Qt::Key_Tab);
    ASSERT_TRUE(allow.hasFocus());
    strike(Qt::Key_Space);
    EXPECT_EQ(answer, true);
}

TEST_F(PromptWindowTest, AllowHasNoKeyOfItsOwn) {
    EXPECT_TRUE(button(u"Allow"_s).shortcut().isEmpty());
    EXPECT_FALSE(button(u"Don’t Allow"_s).shortcut().isEmpty());
}

TEST_F(PromptWindowTest, AssistiveProgramsSeeWhatItSaysAndCanDoNothing) {
    auto &allow = button(u"Allow"_s);
    auto *described = QAccessible::queryAccessibleInterface(&allow);
    ASSERT_TRUE(described);
    EXPECT_EQ(described->role(), QAccessible::Button);
    EXPECT_EQ(described->text(QAccessible::Name), u"Allow"_s);
    EXPECT_TRUE(described->state().disabled);
    QStringList names;
    for (auto *widget : window->findChildren<QWidget *>()) {
        auto *part = QAccessible::queryAccessibleInterface(widget);
        ASSERT_TRUE(part);
        EXPECT_FALSE(part->actionInterface()) << widget->metaObject()->className();
        EXPECT_FALSE(part->valueInterface() || part->editableTextInterface());
        names += part->text(QAccessible::Name);
    }
    EXPECT_TRUE(names.contains(u"words"_s));
    EXPECT_FALSE(QAccessible::queryAccessibleInterface(window.get())->actionInterface());
    EXPECT_EQ(QAccessible::queryAccessibleInterface(window.get())->role(), QAccessible::Dialog);
}

int main(int argc, char **argv) {
    ::testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    describeWindowsOnly();
    return RUN_ALL_TESTS();
}
