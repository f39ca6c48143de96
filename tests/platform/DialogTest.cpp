// Dialogs in the private desktop, worked through the keyboard and the window manager as a person would.
#include "platform/linux/osascript/DialogWire.h"
#include "tests/support/DesktopModule.h"
#include "tests/support/Variable.h"

#include <QProcess>

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
        const auto pressed = desktop->pressKey(keyCode, modifiers);
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
    ASSERT_TRUE(desktop->closeWindow(windowTitled(*desktop, request.title)->handle));
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
    ASSERT_TRUE(desktop->type(typed, 0));
    press(RETURN);
    const auto got = answer();
    EXPECT_EQ(got.button, 2);
    EXPECT_EQ(got.text.toStdString(), typed.toStdString());
}

TEST_F(Dialog, GivesBackAHiddenText) {
    request.defaultText = QString();
    request.hiddenText = true;
    show();
    ASSERT_TRUE(desktop->type(u"secret"_s, 0));
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
    show();
    EXPECT_LT(windowTitled(*desktop, request.title)->size.height(), 1080);
    press(RETURN);
    EXPECT_EQ(answer().button, 2);
}

TEST_F(Dialog, WithoutADisplayFailsAndSaysNothing) {
    const test::Variable none("DISPLAY");
    start();
    ASSERT_TRUE(waitUntil([&] { return process.state() == QProcess::NotRunning; }));
    EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
    EXPECT_NE(process.exitCode(), 0);
    EXPECT_TRUE(process.readAllStandardOutput().isEmpty());
    EXPECT_TRUE(process.readAllStandardError().contains("DISPLAY is not set"));
}

TEST_F(Dialog, RefusesWhatIsNoRequest) {
    process.start(qEnvironmentVariable("OMBRU_BIN") + u"/ombru-dialog"_s, QStringList());
    process.write("{\"kind\": 7}");
    process.closeWriteChannel();
    ASSERT_TRUE(waitUntil([&] { return process.state() == QProcess::NotRunning; }));
    EXPECT_NE(process.exitCode(), 0);
    EXPECT_TRUE(process.readAllStandardOutput().isEmpty());
    EXPECT_FALSE(process.readAllStandardError().isEmpty());
}
