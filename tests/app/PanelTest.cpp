// The panel on a controller, drawn into memory: what its buttons do, and what it shows while things change.
#include "app/panel/MenuPanel.h"
#include "tests/app/PanelFixture.h"
#include "tests/support/PassTime.h"

#include <QKeyEvent>
#include <QScreen>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString SYSTEM_EVENTS = u"com.apple.systemevents"_s;

class PanelTest : public PanelFixture {
protected:
    static bool press(const QString &text) {
        auto *found = button(text);
        if (found)
            found->click();
        settle();
        return found != nullptr;
    }
    void type(Qt::Key key) {
        QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(QApplication::focusWidget() ? QApplication::focusWidget() : &window(), &press);
        settle();
    }
};

} // namespace

TEST_F(PanelTest, WhoIsSignedOutSignsInAndMayCancelIt) {
    FakePlatform::instance().desktop->openingURL = {};
    await(state->boot());
    panel.open({});
    EXPECT_TRUE(lines().contains(u"Not signed in"_s));
    EXPECT_TRUE(press(u"Sign in with Google"_s));
    EXPECT_TRUE(waitUntil([] { return button(u"Open browser"_s) != nullptr; }));
    EXPECT_TRUE(lines().contains(u"AB-CD"_s));
    const auto opened = [] { return copied(FakePlatform::instance().desktop->openedURLs).size(); };
    EXPECT_TRUE(waitUntil([&] { return opened() == 1; }));
    EXPECT_TRUE(press(u"Open browser"_s));
    EXPECT_TRUE(waitUntil([&] { return opened() == 2; }));
    EXPECT_TRUE(press(u"Cancel"_s));
    EXPECT_TRUE(waitUntil([] { return lines().contains(u"Not signed in"_s); }));
}

TEST_F(PanelTest, ASignInThatFailsSaysWhyUntilTheNextOne) {
    await(state->boot());
    const auto usual = std::exchange(start, json("{}"));
    panel.open({});
    EXPECT_TRUE(press(u"Sign in with Google"_s));
    const auto why = u"Sign-in failed: unexpected reply from "_s + service.base();
    EXPECT_TRUE(waitUntil([&] { return lines().contains(why); })) << lines().join(u'\n').toStdString();
    EXPECT_EQ(lines().filter(u"The service is expected at %1. "_s.arg(service.base())).size(), 1);
    start = usual;
    EXPECT_TRUE(press(u"Sign in with Google"_s));
    EXPECT_TRUE(waitUntil([] { return button(u"Open browser"_s) != nullptr; }));
    EXPECT_FALSE(lines().contains(why));
    EXPECT_TRUE(lines().contains(u"If no browser opens, the page is https://host/verify"_s));
}

TEST_F(PanelTest, WhoIsSignedInSignsOut) {
    boot();
    panel.open({});
    EXPECT_TRUE(waitUntil([] { return button(u"Sign out"_s) != nullptr; }));
    EXPECT_TRUE(press(u"Sign out"_s));
    EXPECT_TRUE(waitUntil([] { return lines().contains(u"Not signed in"_s); }));
    EXPECT_EQ(button(u"Sign out"_s), nullptr);
}

TEST_F(PanelTest, QuitEndsTheApplication) {
    panel.open({});
    EXPECT_TRUE(press(u"Quit"_s));
    EXPECT_EQ(quits, 1);
}

TEST_F(PanelTest, StopEndsTheTaskAndSaysSoMeanwhile) {
    answerQuestions({u"DONE: well"_s}, true);
    panel.open({});
    EXPECT_TRUE(state->startTask(u"something"_s));
    EXPECT_TRUE(waitUntil([] { return button(u"Stop"_s) != nullptr; }));
    EXPECT_TRUE(press(u"Stop"_s));
    EXPECT_TRUE(waitUntil([&] { return !state->busy; }));
    EXPECT_TRUE(waitUntil([] { return !button(u"Stop"_s) && !button(u"Stopping…"_s); }));
    EXPECT_TRUE(events.filter(u"DONE"_s).isEmpty());
}

TEST_F(PanelTest, ARefusedApplicationIsAllowedByItsButton) {
    block(MAIL);
    answerQuestions({u"```applescript\ntell application id \"com.apple.mail\" to activate\n```"_s, u"DONE: no"_s});
    panel.open({});
    EXPECT_TRUE(state->startTask(u"mail"_s));
    EXPECT_TRUE(waitUntil([] { return lines().contains(u"Mail isn't allowed yet"_s); }));
    EXPECT_TRUE(waitUntil([&] { return !state->busy; }));
    EXPECT_TRUE(press(u"Allow"_s));
    EXPECT_TRUE(waitUntil([&] { return state->blockedApps->isEmpty(); }));
    settle();
    EXPECT_TRUE(lines().filter(u"Mail"_s).isEmpty());
}

TEST_F(PanelTest, WhatCouldNotBeDoneIsSaidUntilTheNextButton) {
    await(state->boot());
    FakePlatform::instance().terminal = std::unexpected(Failure{u"workspace"_s, 1, u"No terminal is installed."_s});
    panel.open({});
    EXPECT_TRUE(waitUntil([] { return button(u"Install"_s) != nullptr; }));
    EXPECT_TRUE(press(u"Install"_s));
    EXPECT_TRUE(lines().contains(u"No terminal is installed."_s));
    EXPECT_EQ(events.filter(u"✗ No terminal is installed."_s).size(), 1);
    EXPECT_TRUE(press(u"Quit"_s));
    EXPECT_FALSE(lines().contains(u"No terminal is installed."_s));
}

TEST_F(PanelTest, TheLogIsShownInATerminal) {
    panel.act({PanelAction::What::openLogs});
    EXPECT_EQ(FakePlatform::instance().openedInTerminal.filter(u"ombru-log"_s).size(), 1);
}

TEST_F(PanelTest, WhatCouldNotBeDoneWhileItIsClosedIsSaidWhenItIsOpened) {
    FakePlatform::instance().terminal = std::unexpected(Failure{u"workspace"_s, 1, u"No terminal is installed."_s});
    panel.act({PanelAction::What::openLogs});
    EXPECT_TRUE(panel.hasFailed());
    panel.open({});
    EXPECT_TRUE(lines().contains(u"No terminal is installed."_s));
}

TEST_F(PanelTest, TheToolIsInstalledInATerminal) {
    await(state->boot());
    panel.open({});
    EXPECT_TRUE(waitUntil([] { return button(u"Install"_s) != nullptr; }));
    EXPECT_TRUE(press(u"Install"_s));
    EXPECT_EQ(FakePlatform::instance().openedInTerminal.filter(u"install-claude"_s).size(), 1);
}

// --- What is on the screen

TEST_F(PanelTest, AButtonStaysWhereItIsWhileTheTextBesideItChanges) {
    answerQuestions({u"```applescript\ndelay 0\n```"_s, u"```applescript\ndelay 0\n```"_s, u"DONE: well"_s}, true);
    boot();
    panel.open({});
    EXPECT_TRUE(state->startTask(u"something"_s));
    EXPECT_TRUE(waitUntil([] { return lines().contains(u"Working on a task · step 1"_s); }));
    const QPointer<QPushButton> stop = button(u"Stop"_s);
    go();
    EXPECT_TRUE(waitUntil([&] { return lines().contains(u"Working on a task · step 2"_s) || !state->busy; }));
    EXPECT_TRUE(stop);
    EXPECT_TRUE(waitUntil([&] { return !state->busy; }));
}

TEST_F(PanelTest, EscapeClosesIt) {
    panel.open({});
    EXPECT_TRUE(panel.isOpen());
    type(Qt::Key_Escape);
    EXPECT_FALSE(panel.isOpen());
}

TEST_F(PanelTest, NoButtonHasTheFocusUntilItIsGivenOne) {
    panel.open({});
    settle();
    EXPECT_EQ(qobject_cast<QPushButton *>(window().focusWidget()), nullptr);
    type(Qt::Key_Return);
    type(Qt::Key_Space);
    EXPECT_EQ(quits, 0);
    while (window().focusWidget() != button(u"Quit"_s))
        type(Qt::Key_Down);
    type(Qt::Key_Return);
    EXPECT_EQ(quits, 1);
}

TEST_F(PanelTest, WhatIsAllowedIsLookedAtEachSecondWhileItIsOpen) {
    ManualClock clock;
    const auto looks = [] { return FakePlatform::instance().desktop->determined.size(); };
    FakePlatform::instance().desktop->applications[SYSTEM_EVENTS] = {.name = u"System Events"_s};
    panel.open({});
    comeToRest();
    const auto once = looks();
    EXPECT_GT(once, 0);
    comeToRest();
    EXPECT_EQ(looks(), once);
    clock.advance(std::chrono::seconds(1));
    comeToRest();
    EXPECT_EQ(looks(), 2 * once);
    panel.close();
    clock.advance(std::chrono::seconds(5));
    comeToRest();
    EXPECT_EQ(looks(), 2 * once);
}

TEST_F(PanelTest, OpenedAndClosedAndOpenedItLooksOnlyOnceASecond) {
    ManualClock clock;
    FakePlatform::instance().desktop->applications[SYSTEM_EVENTS] = {.name = u"System Events"_s};
    const auto looks = [] { return FakePlatform::instance().desktop->determined.size(); };
    panel.open({});
    comeToRest();
    const auto once = looks();
    for (int time = 0; time < 3; ++time) {
        panel.close();
        panel.open({});
    }
    comeToRest();
    const auto before = looks();
    clock.advance(std::chrono::seconds(1));
    comeToRest();
    EXPECT_EQ(looks() - before, once);
}

TEST_F(PanelTest, AButtonThatGoesLeavesItsFocusToNoOther) {
    answerQuestions({u"DONE: well"_s}, true);
    boot();
    panel.open({});
    EXPECT_TRUE(state->startTask(u"something"_s));
    EXPECT_TRUE(waitUntil([] { return button(u"Stop"_s) != nullptr; }));
    button(u"Stop"_s)->setFocus();
    go();
    EXPECT_TRUE(waitUntil([&] { return !state->busy && !button(u"Stop"_s); }));
    EXPECT_EQ(qobject_cast<QPushButton *>(window().focusWidget()), nullptr);
    type(Qt::Key_Return);
    EXPECT_EQ(quits, 0);
    EXPECT_TRUE(state->auth->is<Auth::SignedIn>());
}

TEST_F(PanelTest, ItGrowsWithWhatItShowsWhileItIsOpen) {
    panel.open({});
    settle();
    const auto before = window().height();
    await(state->boot());
    settle();
    EXPECT_TRUE(button(u"Sign in with Google"_s));
    const int open = window().height();
    EXPECT_GT(open, before);
    panel.close();
    panel.open({});
    settle();
    EXPECT_EQ(window().height(), open);
}

TEST_F(PanelTest, MoreLinesThanTheScreenHasRoomForScroll) {
    QStringList scripts;
    for (int number = 0; number < 60; ++number) {
        const AppAutomation::Target target{u"org.example.app%1"_s.arg(number), u"Application %1"_s.arg(number)};
        block(target);
        scripts += u"tell application id \"%1\" to activate"_s.arg(target.id);
    }
    answerQuestions({u"```applescript\n"_s + scripts.join(u'\n') + u"\n```"_s, u"DONE: no"_s});
    panel.open({});
    EXPECT_TRUE(state->startTask(u"all of them"_s));
    EXPECT_TRUE(waitUntil([&] { return !state->busy && state->blockedApps->size() == 60; }));
    settle();
    const auto screen = QGuiApplication::primaryScreen()->availableGeometry();
    EXPECT_TRUE(screen.contains(window().geometry())) << window().height();
    const auto isSeen = [](const QWidget *widget) {
        return widget && !widget->visibleRegion().isEmpty() &&
               window().rect().contains(QRect(widget->mapTo(&window(), QPoint()), widget->size()));
    };
    EXPECT_TRUE(isSeen(button(u"Quit"_s)));
    QPushButton *first = nullptr;
    const QPushButton *last = nullptr;
    for (auto *each : window().findChildren<QPushButton *>())
        if (each->text() == u"Allow") {
            first = first ? first : each;
            last = each;
        }
    EXPECT_FALSE(isSeen(last));
    for (int key = 0; key < 70 && window().focusWidget() != last; ++key)
        type(Qt::Key_Down);
    EXPECT_TRUE(isSeen(last)) << "the keyboard reaches it";
    EXPECT_FALSE(isSeen(first));
    first->setFocus();
    EXPECT_TRUE(isSeen(first)) << "and so does what moves the focus by itself, as a screen reader does";
}

TEST_F(PanelTest, ItFollowsTheDesktopsScheme) {
    panel.open({});
    const auto light = window().styleSheet();
    const auto before = QApplication::palette();
    QPalette dark = before;
    dark.setColor(QPalette::Window, Qt::black);
    QApplication::setPalette(dark);
    settle();
    EXPECT_NE(window().styleSheet(), light) << "also while it is open";
    QApplication::setPalette(before);
}

TEST_F(PanelTest, WhatTheOwnerWantsComesBeforeTheToolkitsColours) {
    panel.open({});
    const auto light = window().styleSheet();
    const auto want = FakePlatform::instance().colourScheme;
    want(ColourScheme::dark);
    const auto dark = window().styleSheet();
    EXPECT_NE(dark, light) << "while it is open";
    want(ColourScheme::light);
    EXPECT_EQ(window().styleSheet(), light);
    want(ColourScheme::dark);
    want(ColourScheme::unknown);
    EXPECT_EQ(window().styleSheet(), light) << "then the toolkit's count";
}

// The click on the icon that closes it is told as one on the icon, too, a moment later.
TEST_F(PanelTest, AClickElsewhereClosesItAndCountsForAMomentAsTheIcons) {
    ManualClock clock;
    panel.open({});
    EXPECT_FALSE(panel.wasJustLeft());
    QCursor::setPos(window().geometry().center());
    FakePlatform::instance().clicks();
    EXPECT_TRUE(panel.isOpen());
    QCursor::setPos(window().geometry().bottomRight() + QPoint(5, 5));
    FakePlatform::instance().clicks();
    EXPECT_FALSE(panel.isOpen());
    EXPECT_TRUE(panel.wasJustLeft());
    clock.advance(std::chrono::milliseconds(300));
    EXPECT_FALSE(panel.wasJustLeft());
    EXPECT_FALSE(FakePlatform::instance().clicks);
}

// The same number of lines, each shorter than before.
TEST_F(PanelTest, ItShrinksAtOnceWithWhatItShowsWhileItIsOpen) {
    MenuPanel view({[](const PanelAction &) {}, [](bool) {}});
    const auto showing = [](const QString &text, std::vector<PanelButton> buttons) {
        return PanelContent{{{.text = text, .buttons = std::move(buttons)}}, {{u"Quit"_s, {PanelAction::What::quit}}}};
    };
    view.show(showing(u"done"_s, {}));
    view.open({});
    settle();
    const int shortest = view.height();
    view.show(showing(u"word "_s.repeated(40),
                      {{u"Stop"_s, {PanelAction::What::stop}}, {u"Hang up"_s, {PanelAction::What::hangUp}}}));
    settle();
    EXPECT_GT(view.height(), shortest);
    view.show(showing(u"done"_s, {}));
    EXPECT_EQ(view.height(), shortest);
}
