// What a window takes for its owner's answer, and when.
#include "platform/linux/consent/prompt/InputGuard.h"

#include "platform/linux/consent/prompt/PromptWindow.h"
#include "platform/linux/windows/ShowInFront.h"
#include "tests/support/Wait.h"

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
        connect(&button, &QPushButton::clicked, this, [this] { ++clicks; });
        button.setFocus();
    }
};

class InputGuardTest : public ::testing::Test {
protected:
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
    bool comesToTakeKeys() {
        return waitUntil([&] {
            clock.advance(std::chrono::milliseconds(500));
            return window.guard.takesKeys();
        });
    }
    void showAndWait() {
        showInFront(window);
        ASSERT_TRUE(comesToTakeKeys());
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

TEST_F(InputGuardTest, AfterAMomentOnTheScreenAllIsTaken) {
    showAndWait();
    strike(1000);
    click();
    EXPECT_EQ(window.clicks, 2);
    EXPECT_TRUE(window.close());
}

TEST_F(InputGuardTest, GettingTheFocusBeginsTheMomentAnewForKeys) {
    showAndWait();
    QEvent activated(QEvent::WindowActivate);
    QCoreApplication::sendEvent(&window, &activated);
    strike(1000);
    EXPECT_EQ(window.clicks, 0);
    click();
    EXPECT_EQ(window.clicks, 1);
    clock.advance(std::chrono::milliseconds(499));
    strike(1500);
    EXPECT_EQ(window.clicks, 1);
    ASSERT_TRUE(comesToTakeKeys());
    strike(2000);
    EXPECT_EQ(window.clicks, 2);
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

TEST(PromptWindow, HasTheFocusOnDontAllow) {
    PromptText text;
    text.question = text.meaning = text.later = u"words"_s;
    PromptWindow window(text, [](bool) {});
    showInFront(window);
    ASSERT_TRUE(waitUntil([&] { return window.isActiveWindow(); }));
    const auto *focused = qobject_cast<QPushButton *>(window.focusWidget());
    ASSERT_TRUE(focused);
    EXPECT_TRUE(focused->isDefault());
    EXPECT_TRUE(focused->text().contains(u"Don"_s));
}

int main(int argc, char **argv) {
    ::testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
