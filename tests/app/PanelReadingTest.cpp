// The panel of the whole application, as a screen reader gets it.
#include "app/call/PhoneProvider.h"
#include "tests/app/MenuBarJourney.h"
#include "tests/support/AccessibleTree.h"
#include "tests/support/SessionBus.h"
#include "tests/support/SpeechService.h"

#include <QTcpServer>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class PanelReading : public MenuBarJourney {
protected:
    PanelReading() {
        m_environment["DBUS_SESSION_BUS_ADDRESS"] = m_bus.address();
        m_environment["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1";
        m_environment.erase("NO_AT_BRIDGE");
    }
    bool reads(const QStringList &panel) {
        QStringList now;
        const bool found = waitUntil([&] {
            now = m_tree.read();
            return std::ranges::search(now, panel).begin() != now.end();
        });
        EXPECT_TRUE(found) << now.join(u'\n').toStdString();
        // What is changing at this moment is neither the old nor the new.
        QStringList nameless;
        EXPECT_TRUE(waitUntil([&] { return (nameless = m_tree.nameless()).isEmpty(); }))
            << nameless.join(u", "_s).toStdString();
        return found;
    }
    // Once it listens: before that the command would start another one.
    void openPanel() {
        ASSERT_TRUE(waitUntil([this] { return QFile::exists(socket()); }));
        EXPECT_EQ(ombru({u"panel"_s}).status, 0);
    }
    // A tool that is there and signed in, and all that a task needs allowed.
    void allowAll() {
        EXPECT_TRUE(QFile::remove(claude()));
        EXPECT_TRUE(QFile::link(bin(u"ombru-rehearsed-agent"_s), claude()));
        allow(data(), {u"com.apple.systemevents"_s}, u"com.ombru.mac"_s);
    }
    static quint16 freePort() {
        QTcpServer server;
        EXPECT_TRUE(server.listen(QHostAddress::LocalHost));
        return server.serverPort();
    }

    SessionBus m_bus;
    AccessibleTree m_tree;
};

} // namespace

TEST_F(PanelReading, EachLineIsALabelAndEachButtonSaysWhatItDoes) {
    launchAgain();
    ASSERT_TRUE(connected());
    openPanel();
    reads({u"frame: ombru"_s, u"label: Note"_s, u"label: Signed in · calls don't reach this Mac yet"_s,
           u"label: Waiting"_s, u"label: Claude Code isn't installed"_s, u"push button: Install Claude Code"_s,
           u"label: Waiting"_s, u"label: System Events isn't allowed yet"_s, u"push button: Allow System Events"_s,
           u"push button: Sign out"_s, u"push button: Quit ombru"_s});
}

TEST_F(PanelReading, WhoSignsInHearsTheCodeAndWhatToDoWithIt) {
    EXPECT_TRUE(QFile::remove(token()));
    launchAgain();
    ASSERT_TRUE(waitUntil([this] { return QFile::exists(socket()); }));
    openPanel();
    reads({u"label: Note"_s, u"label: Not signed in"_s, u"push button: Sign in with Google"_s});
    const auto signIn = startProgram(u"ombru"_s, {u"sign-in"_s});
    reads({u"label: Note"_s, u"label: Finish signing in in your browser"_s, u"label: AB-CD"_s,
           u"push button: Open browser"_s, u"push button: Cancel signing in"_s});
    reads({u"label: If no browser opens, the page is https://host/verify"_s});
    m_poll = R"({"status": "ok", "token": "tok"})";
    EXPECT_EQ(end(signIn).status, 0);
    reads({u"label: Signed in · calls don't reach this Mac yet"_s});
}

TEST_F(PanelReading, ASignInThatFailsIsAProblemThatSaysWhatToDo) {
    EXPECT_TRUE(QFile::remove(token()));
    m_service.answer = [](const AccountRequest &) { return AccountReply{.body = "{}"}; };
    launchAgain();
    ASSERT_TRUE(waitUntil([this] { return QFile::exists(socket()); }));
    EXPECT_EQ(ombru({u"sign-in"_s}).status, 1);
    openPanel();
    reads({u"label: Problem"_s, u"label: Sign-in failed: unexpected reply from "_s + m_service.base(), u"label: Note"_s,
           u"label: The service is expected at %1. If yours is elsewhere, type in a terminal: ombru sign-in --server "
           u"ADDRESS"_s.arg(m_service.base()),
           u"push button: Quit ombru"_s});
}

TEST_F(PanelReading, WhereAllIsWellEachLineIsReady) {
    allowAll();
    m_service.answer = [](const AccountRequest &) {
        return AccountReply{.body = R"({"email": "ann@host", "trusted": true, "ws_token": "tok"})"};
    };
    m_settings = "callPort=" + QByteArray::number(freePort()) + '\n';
    launchAgain();
    openPanel();
    reads({u"frame: ombru"_s, u"label: Ready"_s, u"label: Ready for calls"_s, u"label: Ready"_s,
           u"label: Full control is on"_s, u"push button: Sign out"_s, u"push button: Quit ombru"_s});
}

TEST_F(PanelReading, WhileATaskRunsStopIsReadBesideIt) {
    beginTask();
    openPanel();
    reads({u"label: Waiting"_s, u"label: Working on a task · step 1"_s, u"push button: Stop the task"_s});
}

TEST_F(PanelReading, WhileACallIsOpenHangUpIsReadBesideTheCaller) {
    SpeechService speech(SpeechService::Voice::tones);
    const auto port = freePort();
    m_service.answer = [](const AccountRequest &) {
        return AccountReply{.body =
                                R"({"email": "ann@host", "trusted": true, "ws_token": "tok", "deepgram_key": "key"})"};
    };
    m_settings = "callPort=" + QByteArray::number(port) + "\nspeechURL=" + speech.base().toUtf8() + '\n';
    launchAgain();
    std::unique_ptr<PhoneProvider> phone;
    bool open = false;
    bool closed = true;
    // The port may not be open yet.
    ASSERT_TRUE(waitUntil([&] {
        if (!open && std::exchange(closed, false))
            phone = std::make_unique<PhoneProvider>(
                PhoneProvider::Options{.url = QUrl(u"ws://127.0.0.1:%1/media"_s.arg(port)),
                                       .token = u"tok"_s,
                                       .from = u"Ann"_s,
                                       .onOpen = [&open] { open = true; },
                                       .onClosed = [&closed](const QString &) { closed = true; }});
        return open;
    }));
    phone->connected();
    phone->start();
    openPanel();
    reads({u"label: Waiting"_s, u"label: On a call with Ann"_s, u"push button: Hang up"_s});
}
