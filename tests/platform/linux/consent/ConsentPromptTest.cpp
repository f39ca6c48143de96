// The window that asks for consent, in the private desktop: answered as its owner would, among scripts that type.
#include "platform/linux/x11/SyntheticInput.h"
#include "tests/platform/linux/consent/ConsentPromptFixture.h"
#include "tests/support/PersonsKeyboard.h"
#include "tests/support/XServer.h"

using namespace ombru;
using namespace ombru::test;
using namespace ombru::applescript;
using namespace Qt::StringLiterals;

TEST_F(ConsentPromptTest, AClickOnAllowAllows) {
    auto &prompt = show();
    EXPECT_EQ(allow(prompt), 0);
    EXPECT_EQ(decision(), true);
    EXPECT_FALSE(isOpen());
}

TEST_F(ConsentPromptTest, AllowHasNoKey) {
    auto &prompt = show();
    EXPECT_EQ(answer(prompt,
                     [&] {
                         EXPECT_TRUE(desktop->input().pressKey(KEY_A, Modifiers(Modifier::option)));
                         EXPECT_TRUE(desktop->input().pressKey(ESCAPE, 0));
                     }),
              1);
    EXPECT_EQ(decision(), false);
}

TEST_F(ConsentPromptTest, EscapeRefuses) {
    EXPECT_EQ(press(show(), ESCAPE), 1);
    EXPECT_EQ(decision(), false);
}

TEST_F(ConsentPromptTest, ReturnRefuses) {
    EXPECT_EQ(press(show(), RETURN), 1);
    EXPECT_EQ(decision(), false);
}

TEST_F(ConsentPromptTest, SpaceRefuses) {
    EXPECT_EQ(press(show(), SPACE), 1);
    EXPECT_EQ(decision(), false);
}

TEST_F(ConsentPromptTest, ClosingRefuses) {
    auto &prompt = show();
    const auto close = [&] {
        if (const auto window = windowTitled(*desktop, TITLE))
            EXPECT_TRUE(desktop->windows().closeWindow(window->handle));
    };
    EXPECT_EQ(answer(prompt, close), 1);
    EXPECT_EQ(decision(), false);
}

TEST_F(ConsentPromptTest, StandsInTheMiddleOfTheScreen) {
    auto &prompt = show();
    const auto window = *windowTitled(*desktop, TITLE);
    EXPECT_NEAR(window.position.x() + window.size.width() / 2, 1920 / 2, 20);
    EXPECT_NEAR(window.position.y() + window.size.height() / 2, 1080 / 2, 30);
    EXPECT_EQ(window.title, u"ombru: allow control of Writer's Desk?"_s);
    EXPECT_EQ(press(prompt, ESCAPE), 1);
}

TEST_F(ConsentPromptTest, StaysAboveAWindowThatOpensLater) {
    auto &prompt = show();
    const auto other = startProgram("xterm -T later", "xterm");
    ASSERT_TRUE(waitUntil([&] { return windowTitled(*desktop, u"later"_s).has_value(); }));
    EXPECT_TRUE(desktop->taskbar().windows()->front().title.startsWith(TITLE));
    EXPECT_EQ(allow(prompt), 0);
}

TEST_F(ConsentPromptTest, AnEarlierAnswerHolds) {
    test::allow(data(), {EDITOR}, OMBRU);
    test::decide(data(), OMBRU, {u"com.apple.systemevents"_s}, false);
    auto &allowed = ask();
    auto &refused = ask(u"com.apple.systemevents"_s);
    ASSERT_TRUE(waitUntil([&] { return ended(allowed) && ended(refused); }));
    EXPECT_EQ(allowed.exitCode(), 0);
    EXPECT_EQ(refused.exitCode(), 1);
}

TEST_F(ConsentPromptTest, ARefusalIsAskedAboutAgainWhenTheOwnerWantsIt) {
    ASSERT_TRUE(decideConsent(OMBRU, EDITOR, false));
    const QStringList again{u"--client"_s, OMBRU, u"--application"_s, EDITOR, u"--again"_s};
    auto &prompt = start(u"ombru-consent-prompt"_s, again);
    EXPECT_TRUE(waitUntil([&] { return isOpen(); }));
    EXPECT_EQ(allow(prompt), 0);
    EXPECT_EQ(decision(), true);
    auto &needless = start(u"ombru-consent-prompt"_s, again);
    ASSERT_TRUE(waitUntil([&] { return ended(needless); }));
    EXPECT_EQ(needless.exitCode(), 0) << "it is allowed already";
}

TEST_F(ConsentPromptTest, ARefusalIsForgottenWhenTheOwnerWantsIt) {
    const QString title = u"ombru: forget what you decided about Writer's Desk?"_s;
    const QStringList forget{u"--client"_s, OMBRU, u"--application"_s, EDITOR, u"--forget"_s};
    ASSERT_TRUE(decideConsent(OMBRU, EDITOR, false));
    auto &kept = start(u"ombru-consent-prompt"_s, forget);
    ASSERT_TRUE(waitUntil([&] { return windowTitled(*desktop, title).has_value(); }));
    EXPECT_EQ(press(kept, ESCAPE), 1);
    EXPECT_EQ(decision(), false);
    auto &forgotten = start(u"ombru-consent-prompt"_s, forget);
    ASSERT_TRUE(waitUntil([&] { return windowTitled(*desktop, title).has_value(); }));
    EXPECT_EQ(answer(forgotten, [&] { clickAllow(*desktop, title); }), 0);
    EXPECT_EQ(decision(), std::nullopt);
    auto &needless = start(u"ombru-consent-prompt"_s, forget);
    ASSERT_TRUE(waitUntil([&] { return ended(needless); }));
    EXPECT_EQ(needless.exitCode(), 0) << "nothing is refused";
}

TEST_F(ConsentPromptTest, AnAnswerIsForOnePair) {
    test::allow(data(), {EDITOR}, u"/usr/bin/other"_s);
    EXPECT_EQ(press(show(), ESCAPE), 1);
    EXPECT_EQ(decision(EDITOR, u"/usr/bin/other"_s), true);
}

TEST_F(ConsentPromptTest, ASecondOneTakesTheFirstOnesAnswer) {
    auto &first = show();
    auto &second = ask();
    ASSERT_TRUE(waitUntil([&] { return waitsForALock(second.processId()); }));
    EXPECT_EQ(allow(first), 0);
    ASSERT_TRUE(waitUntil([&] { return ended(second); }));
    EXPECT_EQ(second.exitCode(), 0);
}

TEST_F(ConsentPromptTest, OneOpensAfterTheOther) {
    auto &first = show();
    auto &second = ask(u"com.apple.systemevents"_s);
    ASSERT_TRUE(waitUntil([&] { return waitsForALock(second.processId()); }));
    EXPECT_FALSE(windowTitled(*desktop, u"System Events"_s));
    EXPECT_EQ(allow(first), 0);
    ASSERT_TRUE(waitUntil([&] { return windowTitled(*desktop, u"System Events"_s).has_value(); }));
    EXPECT_EQ(press(second, ESCAPE), 1);
    EXPECT_EQ(decision(), true);
    EXPECT_EQ(decision(u"com.apple.systemevents"_s), false);
}

TEST_F(ConsentPromptTest, AScriptThatWouldTypeWaitsForTheAnswer) {
    auto &prompt = show();
    auto &typing = script(u"tell application \"System Events\"\nrepeat 5 times\nkeystroke return\nkeystroke tab\n"
                          "keystroke space\nkeystroke \"a\" using option down\nkey code 53\nend repeat\nend tell"_s);
    ASSERT_TRUE(waitUntil([&] { return looksNowAndThen(typing.processId()) || ended(prompt); }));
    ASSERT_FALSE(ended(prompt));
    EXPECT_EQ(decision(), std::nullopt);
    EXPECT_EQ(allow(prompt), 0);
    ASSERT_TRUE(waitUntil([&] { return ended(typing); }));
    EXPECT_EQ(typing.exitCode(), 0) << typing.readAllStandardError().toStdString();
}

TEST_F(ConsentPromptTest, AScriptThatWouldClickOrCloseItWaitsForTheAnswer) {
    auto &prompt = show();
    auto &clicking = script(u"tell application \"System Events\" to click at {960, 590}"_s);
    auto &closing =
        script(u"tell application \"System Events\" to tell process \"ombru-consent-prompt\" to click button 1 "
               "of window 1"_s);
    ASSERT_TRUE(waitUntil([&] { return looksNowAndThen(clicking.processId()) || ended(prompt); }));
    ASSERT_TRUE(waitUntil([&] { return looksNowAndThen(closing.processId()) || ended(closing) || ended(prompt); }));
    ASSERT_FALSE(ended(prompt));
    EXPECT_EQ(allow(prompt), 0);
    ASSERT_TRUE(waitUntil([&] { return ended(clicking) && ended(closing); }));
}

TEST_F(ConsentPromptTest, AScriptThatWouldTakeTheFocusWaitsForTheAnswer) {
    const auto other = startProgram("xterm -T other", "xterm");
    ASSERT_TRUE(waitUntil([&] { return windowTitled(*desktop, u"other"_s).has_value(); }));
    auto &prompt = show();
    auto &script = this->script(u"tell application \"System Events\" to set frontmost of (first process whose name of "
                                u"window 1 is \"other\") to true"_s);
    ASSERT_TRUE(waitUntil([&] { return looksNowAndThen(script.processId()) || ended(script); }));
    ASSERT_FALSE(ended(script)) << script.readAllStandardError().toStdString();
    EXPECT_TRUE(windowTitled(*desktop, TITLE)->focused);
    EXPECT_EQ(allow(prompt), 0);
    EXPECT_TRUE(waitUntil([&] { return ended(script) && windowTitled(*desktop, u"other"_s)->focused; }));
}

TEST_F(ConsentPromptTest, OpensBesideAScriptThatTypesWithoutEnd) {
    const QString file = scratch.path(u"typed"_s);
    const auto target = startProgram(
        "'" + qgetenv("OMBRU_BIN") + "/../tests/input-target' '" + file.toUtf8() + "' target", "input-target");
    focusWindow(*desktop, u"target"_s);
    auto &typing = script(u"tell application \"System Events\"\nrepeat\nkeystroke \"x\"\nkeystroke return\nend repeat\n"
                          "end tell"_s);
    ASSERT_TRUE(waitUntil([&] { return contents(file).contains("x"); }));
    auto &prompt = show();
    ASSERT_TRUE(waitUntil([&] { return looksNowAndThen(typing.processId()); }));
    EXPECT_EQ(allow(prompt), 0);
    focusWindow(*desktop, u"target"_s);
    const auto before = contents(file).size();
    EXPECT_TRUE(waitUntil([&] { return contents(file).size() > before + 5; }));
    EXPECT_FALSE(ended(typing));
}

// A key or a button that is down already would make another answer of the owner's next one.
TEST_F(ConsentPromptTest, WhatAScriptHoldsDownIsReleasedBeforeItOpens) {
    for (const int key : {RETURN, SPACE, OPTION})
        ASSERT_TRUE(desktop->input().holdKey(key, true));
    runProgram("xdotool mousedown 1");
    const auto display = Display::open();
    ASSERT_TRUE(display && heldByAnybody(*display).keys.count() == 3 && heldByAnybody(*display).buttons[1]);
    auto &prompt = show();
    EXPECT_FALSE(heldByAnybody(*display).any());
    EXPECT_EQ(allow(prompt), 0);
}

TEST_F(ConsentPromptTest, OpensOnceAPersonHasLetGoOfTheKeys) {
    const auto display = Display::open();
    const PersonsKeyboard person;
    person.press(SHIFT_CODE, true);
    ASSERT_TRUE(desktop->input().holdKey(RETURN, true));
    auto &prompt = ask();
    ASSERT_TRUE(waitUntil([&] { return heldByPrograms(*display).keys.none(); })) << "it waits for the rest";
    EXPECT_TRUE(heldByAnybody(*display).keys[SHIFT_CODE]);
    EXPECT_FALSE(isOpen());
    person.press(SHIFT_CODE, false);
    EXPECT_TRUE(waitUntil([&] { return isOpen(); }));
    EXPECT_EQ(press(prompt, ESCAPE), 1);
}

TEST_F(ConsentPromptTest, AClickOfAPointerThatItOpensUnderIsNone) {
    auto &first = show();
    const auto place = placeOfAllow(*desktop);
    EXPECT_EQ(press(first, ESCAPE), 1);
    ASSERT_TRUE(takeBack(OMBRU, EDITOR));
    runProgram(u"xdotool mousemove %1 %2"_s.arg(place.x()).arg(place.y()).toUtf8());
    auto &prompt = show();
    ASSERT_EQ(placeOfAllow(*desktop), place);
    EXPECT_EQ(answer(prompt,
                     [&] {
                         runProgram("xdotool click 1");
                         EXPECT_TRUE(desktop->input().pressKey(ESCAPE, 0));
                     }),
              1);
    EXPECT_EQ(decision(), false);
}

TEST_F(ConsentPromptTest, EndsWithoutAnAnswerWhenItsTimeIsOver) {
    auto &prompt =
        start(u"ombru-consent-prompt"_s, {u"--client"_s, OMBRU, u"--application"_s, EDITOR, u"--within"_s, u"1"_s});
    ASSERT_TRUE(waitUntil([&] { return ended(prompt); }));
    EXPECT_EQ(prompt.exitCode(), 2);
    EXPECT_TRUE(prompt.readAllStandardError().contains("in time"));
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(decision(), std::nullopt);
}

// A debugger could answer in the owner's place. Not even root may look without the right to look at everything.
TEST_F(ConsentPromptTest, NoOtherProgramLooksIntoIt) {
    const QStringList plain =
        ::geteuid() == 0 ? QStringList{u"setpriv"_s, u"--bounding-set=-sys_ptrace"_s} : QStringList{u"env"_s};
    const auto startPlain = [&](const QStringList &words) -> QProcess & {
        auto &process = *processes.emplace_back(std::make_unique<QProcess>());
        process.start(plain.front(), plain.sliced(1) + words);
        EXPECT_TRUE(process.waitForStarted());
        return process;
    };
    const auto looksInto = [&](const QProcess &process) {
        auto &look = startPlain({u"readlink"_s, u"/proc/%1/exe"_s.arg(process.processId())});
        EXPECT_TRUE(waitUntil([&] { return ended(look); }));
        return look.exitCode() == 0;
    };
    auto &prompt = startPlain({qEnvironmentVariable("OMBRU_BIN") + u"/ombru-consent-prompt"_s, u"--client"_s, OMBRU,
                               u"--application"_s, EDITOR});
    ASSERT_TRUE(waitUntil([&] { return isOpen(); }));
    const auto &ordinary = startPlain({u"sleep"_s, u"600"_s});
    EXPECT_TRUE(waitUntil([&] { return looksInto(ordinary); }));
    EXPECT_FALSE(looksInto(prompt));
    EXPECT_EQ(press(prompt, ESCAPE), 1);
}

TEST_F(ConsentPromptTest, GoesAwayWithTheProgramThatAsked) {
    const auto bin = qEnvironmentVariable("OMBRU_BIN");
    auto &parent = *processes.emplace_back(std::make_unique<QProcess>());
    parent.start(u"/bin/sh"_s,
                 {u"-c"_s, bin + u"/ombru-consent-prompt --client x --application "_s + EDITOR + u"; true"_s});
    ASSERT_TRUE(waitUntil([&] { return isOpen(); }));
    parent.kill();
    EXPECT_TRUE(waitUntil([&] { return !isOpen(); }));
    EXPECT_EQ(decision(EDITOR, u"x"_s), std::nullopt);
}

TEST_F(ConsentPromptTest, GoesAwayWhenItIsAskedTo) {
    auto &prompt = show();
    prompt.terminate();
    ASSERT_TRUE(waitUntil([&] { return ended(prompt); }));
    EXPECT_EQ(prompt.exitStatus(), QProcess::CrashExit);
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(decision(), std::nullopt);
}

TEST_F(ConsentPromptTest, WithoutADisplayNobodyIsAsked) {
    const test::Variable none("DISPLAY");
    auto &prompt = ask();
    ASSERT_TRUE(waitUntil([&] { return ended(prompt); }));
    EXPECT_TRUE(prompt.readAllStandardError().contains("DISPLAY is not set"));
    EXPECT_EQ(prompt.exitCode(), 2);
    EXPECT_EQ(decision(), std::nullopt);
}

TEST_F(ConsentPromptTest, WhereWindowsAreNotSeenNobodyIsAsked) {
    for (const char *system : {"offscreen", "minimal"}) {
        const test::Variable unseen("QT_QPA_PLATFORM", system);
        expectFailure(ask());
    }
    EXPECT_EQ(decision(), std::nullopt);
}

TEST_F(ConsentPromptTest, ADisplayThatGoesAwayIsNoAnswer) {
    XServer server("800x600x24");
    auto &prompt = ask();
    ASSERT_TRUE(waitUntil([] { return std::system("xwininfo -root -tree | grep -q 'ombru: allow'") == 0; }));
    server.end(SIGKILL);
    expectFailure(prompt);
    EXPECT_EQ(decision(), std::nullopt);
}

TEST_F(ConsentPromptTest, ARecordThatCannotBeReadIsNotAskedAbout) {
    QDir().mkpath(scratch.path(u"ombru/consent.db"_s));
    expectFailure(ask());
}

TEST_F(ConsentPromptTest, AnAnswerThatCannotBeWrittenDownIsNone) {
    auto &prompt = show();
    scratch.write(u"ombru/consent.db"_s, "This is no database, and it is long enough to show that.");
    EXPECT_EQ(allow(prompt), 2);
    EXPECT_TRUE(prompt.readAllStandardError().contains("consent.db"));
}

TEST_F(ConsentPromptTest, WhereItsLockCannotBeMadeNobodyIsAsked) {
    scratch.write(u"ombru"_s, "no directory");
    expectFailure(ask());
}

TEST_F(ConsentPromptTest, TellsHowItIsCalled) {
    auto &prompt = start(u"ombru-consent-prompt"_s, {u"--client"_s, OMBRU});
    expectFailure(prompt);
    expectFailure(start(u"ombru-consent-prompt"_s, {u"--nonsense"_s}));
}

TEST_F(ConsentPromptTest, HostileNamesFitTheScreen) {
    scratch.write(u"applications/org.example.Evil.desktop"_s,
                  "[Desktop Entry]\nType=Application\nName=Evil\\n<h1>\xe2\x80\xae" + QByteArray(3000, 'W') +
                      "\nExec=/bin/true\n");
    auto &prompt = ask(u"org.example.Evil"_s, u"/tmp/"_s + QString(200, u'W') + u"/\n<b>\u202Eombru"_s);
    ASSERT_TRUE(waitUntil([&] { return isOpen(); }));
    const auto window = *windowTitled(*desktop, TITLE);
    EXPECT_LT(window.size.width(), 800);
    EXPECT_LT(window.size.height(), 600);
    EXPECT_TRUE(window.title.startsWith(TITLE + u" Evil«U+000A»<h1>«U+202E»"_s)) << window.title.toStdString();
    EXPECT_EQ(allow(prompt), 0);
}
