// The privacy settings in the private desktop, worked by keys as their owner would.
#include "tests/support/Consent.h"
#include "tests/support/PromptOnScreen.h"

#include <QProcess>

using namespace ombru;
using namespace ombru::test;
using namespace ombru::applescript;
using namespace Qt::StringLiterals;

namespace {

const QString EDITOR = u"org.example.Editor"_s;
const QString CLIENT = u"com.ombru.mac"_s;
const QString TITLE = u"ombru: privacy"_s;
const QString QUESTION = u"ombru: allow control of"_s;
constexpr int KEY_F = 3;
constexpr int KEY_L = 37;
constexpr int KEY_R = 15;

class PrivacyWindowTest : public testing::Test {
protected:
    ~PrivacyWindowTest() override {
        window.kill();
        window.waitForFinished();
        // Keys pressed in it may have started another, which would be the next test's first one.
        EXPECT_TRUE(endMarked("XDG_DATA_HOME=" + scratch.directory().toUtf8()));
        EXPECT_TRUE(waitUntil([&] { return !windowTitled(*desktop, TITLE) && !isAsking(); }));
    }

    static QString program() { return qEnvironmentVariable("OMBRU_BIN") + u"/ombru-privacy"_s; }
    void show(const QStringList &arguments) {
        window.start(program(), arguments);
        ASSERT_TRUE(waitUntil([&] { return isInFront(); }));
    }
    bool isInFront() {
        const auto open = windowTitled(*desktop, TITLE);
        return open && open->focused;
    }
    bool isAsking() const { return windowTitled(*desktop, QUESTION).has_value(); }
    std::optional<bool> decision() const {
        const auto all = consentDecisions().value_or(std::vector<ConsentDecision>());
        const auto found = std::ranges::find(all, CLIENT, &ConsentDecision::client);
        return found == all.end() ? std::nullopt : std::optional(found->allowed);
    }
    // A window that has the focus may not listen yet: the key is pressed again.
    bool press(int keyCode, const std::function<bool()> &until) {
        return waitUntil([&] {
            if (until())
                return true;
            EXPECT_TRUE(desktop->input().pressKey(keyCode, Modifiers(Modifier::option)));
            settle();
            return until();
        });
    }

    // The same at the question, which does not take the focus from a window where keys are being pressed. A key too
    // many must not reach the privacy settings, where it means something else: when the question goes, another window
    // has the focus.
    bool answer(const std::function<void()> &act, const std::function<bool()> &until) {
        const auto bystander = startProgram("xterm -T bystander", "xterm");
        focusWindow(*desktop, u"bystander"_s);
        return waitUntil([&] {
            const auto question = windowTitled(*desktop, QUESTION);
            if (question && desktop->taskbar().activateWindow(question->handle)) {
                act();
                settle();
            }
            return until();
        });
    }

    Scratch scratch;
    test::Variable home{"XDG_DATA_HOME", scratch.directory().toUtf8()};
    std::unique_ptr<Desktop> desktop = openDesktop();
    QProcess window;
};

} // namespace

TEST_F(PrivacyWindowTest, ChangesDecisions) {
    test::allow(scratch.directory(), {EDITOR}, CLIENT);
    show({u"Privacy_Automation"_s});
    EXPECT_TRUE(press(KEY_R, [&] { return decision() == false; }));
    EXPECT_TRUE(press(KEY_L, [&] { return isAsking(); }));
    EXPECT_EQ(decision(), false) << "the owner was not asked yet";
    EXPECT_TRUE(answer([&] { clickAllow(*desktop); }, [&] { return decision() == true; }));
    focusWindow(*desktop, TITLE);
    EXPECT_TRUE(press(KEY_F, [&] { return decision() == std::nullopt; }));
}

// They must not undo what the owner refused, nor refuse or forget.
TEST_F(PrivacyWindowTest, AScriptsKeysDoNotReachIt) {
    decide(scratch.directory(), CLIENT, {EDITOR}, false);
    test::allow(scratch.directory(), {u"com.apple.systemevents"_s});
    show({u"Privacy_Automation"_s});
    for (const auto &key : {u"l"_s, u"f"_s}) {
        QProcess script;
        script.start(qEnvironmentVariable("OMBRU_BIN") + u"/osascript"_s,
                     {u"-e"_s, u"tell application \"System Events\" to keystroke \"%1\" using option down"_s.arg(key)});
        ASSERT_TRUE(waitUntil([&] { return script.state() == QProcess::NotRunning; }));
        const auto said = script.readAllStandardError();
        EXPECT_TRUE(said.contains("Not authorized to send Apple events to ombru.")) << said.toStdString();
        EXPECT_TRUE(said.endsWith("(-1743)\n"));
    }
    EXPECT_FALSE(isAsking());
    EXPECT_EQ(decision(), false);
}

TEST_F(PrivacyWindowTest, WorksOnADecisionThatWasMadeMeanwhile) {
    show({u"Privacy_Automation"_s});
    test::allow(scratch.directory(), {EDITOR}, CLIENT);
    EXPECT_TRUE(press(KEY_F, [&] { return decision() == std::nullopt; }));
}

TEST_F(PrivacyWindowTest, ASecondStartBringsTheFirstOnesWindowToTheFrontAtItsPage) {
    test::allow(scratch.directory(), {EDITOR}, CLIENT);
    show({});
    const auto other = startProgram("xterm -T other", "xterm");
    focusWindow(*desktop, u"other"_s);
    EXPECT_EQ(QProcess::execute(program(), {u"Privacy_Automation"_s}), 0);
    ASSERT_TRUE(waitUntil([&] { return isInFront(); }));
    const auto all = desktop->taskbar().windows();
    ASSERT_TRUE(all);
    EXPECT_EQ(std::ranges::count_if(*all, [](const auto &open) { return open.title == TITLE; }), 1);
    EXPECT_TRUE(press(KEY_F, [&] { return decision() == std::nullopt; }));
}

TEST_F(PrivacyWindowTest, ClosingEndsIt) {
    show({});
    ASSERT_TRUE(desktop->windows().closeWindow(windowTitled(*desktop, TITLE)->handle));
    ASSERT_TRUE(waitUntil([&] { return window.state() == QProcess::NotRunning; }));
    EXPECT_EQ(window.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(window.exitCode(), 0);
}

TEST_F(PrivacyWindowTest, OpensAgainAfterOneThatWasKilled) {
    show({});
    window.kill();
    ASSERT_TRUE(window.waitForFinished());
    show({u"Privacy_Accessibility"_s});
}

TEST_F(PrivacyWindowTest, OpensForAPageThatItDoesNotHave) {
    show({u"Privacy_Microphone"_s});
}

TEST_F(PrivacyWindowTest, TellsHowItIsUsedWithoutADisplay) {
    const test::Variable none("DISPLAY");
    EXPECT_EQ(QProcess::execute(program(), {u"--help"_s}), 0);
    window.start(program(), QStringList());
    ASSERT_TRUE(window.waitForFinished());
    EXPECT_EQ(window.exitCode(), 1);
    EXPECT_TRUE(window.readAllStandardError().contains("DISPLAY is not set"));
}
