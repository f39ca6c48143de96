// Dialogs in the private desktop, worked through the keyboard and the window manager as a person would.
#include "osascript/dialog/DialogWire.h"
#include "tests/support/DesktopModule.h"
#include "tests/support/Variable.h"

#include <QProcess>
#include <QRect>

using namespace ombru;
using namespace ombru::test;
using namespace ombru::applescript;
using namespace Qt::StringLiterals;

namespace {

class Dialog : public testing::Test {
protected:
    Dialog() {
        request.text = u"Shall it go on?"_s;
        request.title = u"question %1."_s.arg(++number);
        request.buttons = {u"Cancel"_s, u"Later"_s, u"OK"_s};
        request.defaultButton = 2;
        request.cancelButton = 0;
    }

    ~Dialog() override {
        process.kill();
        process.waitForFinished();
    }

    void start() {
        process.start(qEnvironmentVariable("OMBRU_BIN") + u"/ombru-dialog"_s, QStringList());
        process.write(toJson(request));
        process.closeWriteChannel();
    }

    void show() {
        start();
        ASSERT_TRUE(waitUntil([&] {
            const auto window = windowTitled(*desktop, request.title);
            return window && window->focused;
        }));
    }

    void press(int keyCode, Modifiers modifiers = 0) {
        const auto pressed = desktop->input().pressKey(keyCode, modifiers);
        ASSERT_TRUE(pressed) << words(pressed);
        lastKey = keyCode;
    }

    // On a busy machine a window may have the focus before its program listens: the last key is pressed again.
    DialogAnswer answer() {
        for (int tries = 0; lastKey && tries < 10 && !process.waitForFinished(2000); ++tries)
            press(*lastKey);
        EXPECT_TRUE(waitUntil([&] { return process.state() == QProcess::NotRunning; }));
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
        const auto result = dialogAnswer(process.readAllStandardOutput());
        EXPECT_TRUE(result) << result.error().description.toStdString();
        return result.value_or(DialogAnswer());
    }

    // The window is on the screen with all its edges, and Return still presses the default button.
    void expectOnScreen() {
        show();
        const auto window = windowTitled(*desktop, request.title);
        ASSERT_TRUE(window);
        const QRect screen(0, 0, 1920, 1080);
        EXPECT_TRUE(screen.contains(QRect(window->position, window->size)))
            << window->position.x() << ',' << window->position.y() << ' ' << window->size.width() << 'x'
            << window->size.height();
        press(RETURN);
        EXPECT_EQ(answer().button, 2);
    }

    static constexpr int RETURN = 36;
    static constexpr int ESCAPE = 53;
    static inline int number = 0;
    DialogRequest request;
    std::optional<int> lastKey;
    QProcess process;
    std::unique_ptr<Desktop> desktop = openDesktop();
};

} // namespace

TEST_F(Dialog, ReturnPressesTheDefaultButton) {
    show();
    press(RETURN);
    EXPECT_EQ(answer().button, 2);
}

TEST_F(Dialog, EscapePressesTheCancelButton) {
    show();
    press(ESCAPE);
    EXPECT_EQ(answer().button, 0);
}

TEST_F(Dialog, ClosingPressesTheCancelButton) {
    show();
    ASSERT_TRUE(desktop->windows().closeWindow(windowTitled(*desktop, request.title)->handle));
    EXPECT_EQ(answer().button, 0);
}

TEST_F(Dialog, ClosingWithoutACancelButtonPressesNone) {
    request.cancelButton = -1;
    show();
    press(ESCAPE);
    const auto closed = answer();
    EXPECT_EQ(closed.button, -1);
    EXPECT_FALSE(closed.gaveUp);
}

TEST_F(Dialog, WithoutADefaultButtonReturnPressesNone) {
    request.defaultButton = -1;
    show();
    press(RETURN);
    press(ESCAPE);
    EXPECT_EQ(answer().button, 0);
}

TEST_F(Dialog, GivesBackTheTextThatWasTyped) {
    request.defaultText = u"to be replaced"_s;
    show();
    const QString typed = u"Größe, Съешь, 日本"_s;
    ASSERT_TRUE(desktop->input().type(typed, 0));
    press(RETURN);
    const auto got = answer();
    EXPECT_EQ(got.button, 2);
    EXPECT_EQ(got.text.toStdString(), typed.toStdString());
}

TEST_F(Dialog, GivesBackAHiddenText) {
    request.defaultText = QString();
    request.hiddenText = true;
    show();
    ASSERT_TRUE(desktop->input().type(u"secret"_s, 0));
    press(RETURN);
    EXPECT_EQ(answer().text, u"secret"_s);
}

TEST_F(Dialog, GivesUp) {
    request.givingUpAfter = 0.2;
    request.defaultText = u"as it was"_s;
    start();
    const auto late = answer();
    EXPECT_TRUE(late.gaveUp);
    EXPECT_EQ(late.button, -1);
    EXPECT_EQ(late.text, u"as it was"_s);
}

TEST_F(Dialog, KeepsItsButtonsOnTheScreenUnderALongText) {
    request.kind = DialogRequest::Kind::alert;
    request.icon = DialogRequest::Icon::caution;
    request.message = u"One more line of a text that has a great many of them. "_s.repeated(1000);
    expectOnScreen();
}

TEST_F(Dialog, TwoLongTextsStayOnTheScreenTogether) {
    request.kind = DialogRequest::Kind::alert;
    request.text = u"A long question of many words. "_s.repeated(160);
    request.message = request.text;
    request.defaultText = u"x"_s.repeated(5000);
    expectOnScreen();
}

TEST_F(Dialog, AWordWithoutEndStaysOnTheScreen) {
    request.text = u"W"_s.repeated(5000);
    expectOnScreen();
}

TEST_F(Dialog, LongButtonsStayOnTheScreen) {
    for (QString &name : request.buttons)
        name = (name + u" & more of it. "_s).repeated(40);
    expectOnScreen();
}

TEST_F(Dialog, ManyButtonsStayOnTheScreen) {
    for (int i = 0; i < 60; ++i)
        request.buttons.append(u"Choice %1"_s.arg(i));
    request.text = u"W"_s.repeated(5000);
    expectOnScreen();
}

TEST_F(Dialog, OnAPlatformThatShowsNothingFailsAtOnce) {
    for (const char *platform : {"offscreen", "minimal"}) {
        const test::Variable unseen("QT_QPA_PLATFORM", platform);
        start();
        ASSERT_TRUE(waitUntil([&] { return process.state() == QProcess::NotRunning; })) << platform;
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 1);
        EXPECT_TRUE(process.readAllStandardOutput().isEmpty());
        EXPECT_TRUE(process.readAllStandardError().contains("QT_QPA_PLATFORM"));
    }
}

TEST_F(Dialog, ShowsInItsTitleBarWhoseScriptItIs) {
    process.start(qEnvironmentVariable("OMBRU_BIN") + u"/osascript"_s,
                  {u"-e"_s, u"display dialog \"Go on?\" with title \"ombru: allow control of Mail?\""_s});
    std::optional<DesktopWindow> window;
    ASSERT_TRUE(waitUntil([&] { return (window = windowTitled(*desktop, u"control of Mail"_s)).has_value(); }));
    EXPECT_EQ(window->title, u"Script of osascript-dialog-DialogTest: ombru: allow control of Mail?"_s);
}

TEST_F(Dialog, AScriptHearsThatNobodyCanBeAsked) {
    for (const char *name : {"DISPLAY", "QT_QPA_PLATFORM"}) {
        const test::Variable unseen(name, qstrcmp(name, "DISPLAY") == 0 ? "" : "offscreen");
        process.start(qEnvironmentVariable("OMBRU_BIN") + u"/osascript"_s, {u"-e"_s, u"display dialog \"Hello?\""_s});
        ASSERT_TRUE(waitUntil([&] { return process.state() == QProcess::NotRunning; })) << name;
        EXPECT_EQ(process.exitCode(), 1);
        const QByteArray said = process.readAllStandardError();
        EXPECT_TRUE(said.contains("No user interaction allowed. (-1713)")) << said.toStdString();
    }
}

TEST_F(Dialog, WithoutADisplayFailsAndSaysNothing) {
    const test::Variable none("DISPLAY");
    start();
    ASSERT_TRUE(waitUntil([&] { return process.state() == QProcess::NotRunning; }));
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(process.exitCode(), 1);
    EXPECT_TRUE(process.readAllStandardOutput().isEmpty());
    EXPECT_TRUE(process.readAllStandardError().contains("DISPLAY is not set"));
}

TEST_F(Dialog, RefusesWhatIsNoRequest) {
    for (const char *input : {"{\"kind\": 7}", "no JSON", ""}) {
        process.start(qEnvironmentVariable("OMBRU_BIN") + u"/ombru-dialog"_s, QStringList());
        process.write(input);
        process.closeWriteChannel();
        ASSERT_TRUE(waitUntil([&] { return process.state() == QProcess::NotRunning; }));
        EXPECT_EQ(process.exitCode(), 2);
        EXPECT_TRUE(process.readAllStandardOutput().isEmpty());
        const QByteArray said = process.readAllStandardError();
        EXPECT_TRUE(said.startsWith("ombru-dialog: ")) << said.toStdString();
        EXPECT_EQ(said.count('\n'), 1) << said.toStdString();
    }
}
