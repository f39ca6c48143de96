// The panel on a real screen, each of its buttons pressed by the pointer: what the controller did then. The computer
// behind the controller is the fake one.
#include "app/call/PhoneProvider.h"
#include "tests/app/PanelFixture.h"
#include "tests/support/SpeechService.h"

#include <QProcess>
#include <QTcpServer>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString SYSTEM_EVENTS = u"com.apple.systemevents"_s;

class PanelClicks : public PanelFixture {
protected:
    PanelClicks() { FakePlatform::instance().desktop->applications[SYSTEM_EVENTS] = {.name = u"System Events"_s}; }

    static bool shows(const QString &text) {
        return waitUntil([&] { return button(text) != nullptr; });
    }
    static bool says(const QString &line) {
        return waitUntil([&] { return lines().contains(line); });
    }
    static QByteArray told(const QStringList &words) {
        QProcess process;
        process.start(u"xdotool"_s, words);
        EXPECT_TRUE(waitUntil([&] { return process.state() == QProcess::NotRunning; }));
        return process.readAllStandardOutput();
    }
    // The window manager takes its time for another size.
    static bool isSeenWhole() {
        const auto size = window().size();
        const auto seen = told({u"getwindowgeometry"_s, u"--shell"_s, QString::number(window().winId())});
        return seen.contains("\nWIDTH=" + QByteArray::number(size.width()) + '\n') &&
               seen.contains("\nHEIGHT=" + QByteArray::number(size.height()) + '\n') && size == window().size();
    }
    // By the server's pointer, where the button is seen.
    static void click(const QString &text) {
        ASSERT_TRUE(shows(text)) << lines().join(u'\n').toStdString();
        ASSERT_TRUE(waitUntil([] { return window().isActiveWindow(); }));
        // What it learns meanwhile moves the buttons.
        ASSERT_TRUE(waitUntil([] { return !lines().contains(u"Checking permissions…"_s); }));
        comeToRest();
        ASSERT_TRUE(waitUntil(isSeenWhole));
        ASSERT_TRUE(shows(text));
        const auto place = button(text)->mapToGlobal(button(text)->rect().center());
        told({u"mousemove"_s, QString::number(place.x()), QString::number(place.y()), u"click"_s, u"1"_s});
    }
    static QStringList opened() { return copied(FakePlatform::instance().desktop->openedURLs); }
    static bool openedSettings(const QString &pane) {
        return waitUntil([&] { return opened().filter(pane).size() == 1; });
    }

    // A tool that is there, and whether it is signed in.
    void installClaude(bool signedIn) {
        EXPECT_TRUE(QFile::rename(CLAUDE + u".away"_s, CLAUDE));
        claude.playAlways("case $1 in --help) echo '" + Claude::requiredFlags.join(u' ').toUtf8() +
                          "';; auth) echo '{\"loggedIn\":" + (signedIn ? "true" : "false") +
                          ",\"email\":\"ann@example.org\"}';; esac");
    }
    static quint16 freePort() {
        QTcpServer server;
        EXPECT_TRUE(server.listen(QHostAddress::LocalHost));
        return server.serverPort();
    }
};

} // namespace

TEST_F(PanelClicks, ToCloseItIsNotToLeaveIt) {
    panel.open({});
    ASSERT_TRUE(waitUntil([] { return window().isActiveWindow(); }));
    panel.close();
    EXPECT_FALSE(panel.wasJustLeft()) << "the next click on the icon would be lost";
}

TEST_F(PanelClicks, SignInWithGoogleOpenBrowserAndCancel) {
    await(state->boot());
    panel.open({});
    click(u"Sign in with Google"_s);
    EXPECT_TRUE(requested("/api/device/start", 1));
    EXPECT_TRUE(waitUntil([] { return opened().size() == 1; }));
    click(u"Open browser"_s);
    EXPECT_TRUE(waitUntil([] { return opened() == QStringList(2, u"https://host/verify"_s); }));
    click(u"Cancel"_s);
    EXPECT_TRUE(becomes(u"out"_s));
}

TEST_F(PanelClicks, SignOut) {
    boot();
    panel.open({});
    click(u"Sign out"_s);
    EXPECT_TRUE(becomes(u"out"_s));
    EXPECT_TRUE(waitUntil([] { return !storedToken(); }));
}

TEST_F(PanelClicks, Quit) {
    panel.open({});
    click(u"Quit"_s);
    EXPECT_TRUE(waitUntil([this] { return quits == 1; }));
}

TEST_F(PanelClicks, Stop) {
    answerQuestions({u"DONE: well"_s}, true);
    panel.open({});
    EXPECT_TRUE(state->startTask(u"something"_s));
    click(u"Stop"_s);
    EXPECT_TRUE(waitUntil([this] { return !state->busy; }));
    EXPECT_TRUE(events.filter(u"DONE"_s).isEmpty());
}

TEST_F(PanelClicks, HangUp) {
    SpeechService speech;
    const auto port = freePort();
    EXPECT_TRUE(state->settings.callPort.write(port));
    EXPECT_TRUE(state->settings.speechURL.write(speech.base()));
    config = json(R"({"email": "ann@host", "trusted": true, "ws_token": "tok", "deepgram_key": "key"})");
    boot();
    ASSERT_TRUE(waitUntil([this] { return state->serverListening(); }));
    bool open = false;
    PhoneProvider phone({.url = QUrl(u"ws://127.0.0.1:%1/media"_s.arg(port)),
                         .token = u"tok"_s,
                         .from = u"Ann"_s,
                         .onOpen = [&open] { open = true; },
                         .onMessage = [](const QJsonObject &) {},
                         .onClosed = [](const QString &) {}});
    ASSERT_TRUE(waitUntil([&] { return open; }));
    phone.connected();
    phone.start();
    panel.open({});
    EXPECT_TRUE(says(u"On a call with Ann"_s));
    click(u"Hang up"_s);
    EXPECT_TRUE(waitUntil([this] { return state->activeCalls->isEmpty(); }));
}

TEST_F(PanelClicks, InstallAndSignInOfTheTool) {
    panel.open({});
    click(u"Install"_s);
    EXPECT_TRUE(
        waitUntil([] { return FakePlatform::instance().openedInTerminal.filter(u"install-claude"_s).size() == 1; }));
    installClaude(false); // looked at again a few seconds later
    click(u"Sign in"_s);
    EXPECT_TRUE(waitUntil([] { return FakePlatform::instance().openedInTerminal.size() == 2; }));
}

TEST_F(PanelClicks, AllowAndRestart) {
    installClaude(true);
    FakePlatform::instance().desktop->screenAllowed = false;
    panel.open({});
    click(u"Allow"_s);
    EXPECT_TRUE(waitUntil([] { return FakePlatform::instance().desktop->screenRequests == 1; }));
    EXPECT_TRUE(says(u"Restart ombru to finish"_s));
    click(u"Restart"_s);
    EXPECT_TRUE(waitUntil([this] { return quits == 1; }));
    EXPECT_EQ(FakePlatform::instance().desktop->reopenings, 1);
}

TEST_F(PanelClicks, OpenSettings) {
    installClaude(true);
    FakePlatform::instance().desktop->applications[SYSTEM_EVENTS].permission = AUTOMATION_REFUSED;
    panel.open({});
    click(u"Open Settings"_s);
    EXPECT_TRUE(openedSettings(u"Privacy_Automation"_s));
}

TEST_F(PanelClicks, AllowOfAnApplication) {
    block(MAIL);
    answerQuestions({u"```applescript\ntell application id \"com.apple.mail\" to activate\n```"_s, u"DONE: no"_s});
    panel.open({});
    EXPECT_TRUE(state->startTask(u"mail"_s));
    EXPECT_TRUE(says(u"Mail isn't allowed yet"_s));
    EXPECT_TRUE(waitUntil([this] { return !state->busy; }));
    click(u"Allow"_s);
    EXPECT_TRUE(waitUntil([this] { return state->blockedApps->isEmpty(); }));
}
