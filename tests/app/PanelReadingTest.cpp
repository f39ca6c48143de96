// The panel of the whole application, as a screen reader gets it.
#include "tests/app/MenuBarJourney.h"
#include "tests/support/AccessibleTree.h"
#include "tests/support/SessionBus.h"

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
        return found;
    }

    SessionBus m_bus;
    AccessibleTree m_tree;
};

} // namespace

TEST_F(PanelReading, EachLineIsALabelAndEachButtonAButtonInTheirOrder) {
    launchAgain();
    ASSERT_TRUE(connected());
    EXPECT_EQ(ombru({u"panel"_s}).status, 0);
    reads({u"frame: ombru"_s, u"label: Signed in · calls don't reach this Mac yet"_s,
           u"label: Claude Code isn't installed"_s, u"push button: Install"_s,
           u"label: System Events isn't allowed yet"_s, u"push button: Allow"_s, u"push button: Sign out"_s,
           u"push button: Quit"_s});
}

TEST_F(PanelReading, WhoSignsInHearsTheCodeAndWhatToDoWithIt) {
    EXPECT_TRUE(QFile::remove(token()));
    launchAgain();
    ASSERT_TRUE(waitUntil([this] { return QFile::exists(socket()); }));
    EXPECT_EQ(ombru({u"panel"_s}).status, 0);
    reads({u"label: Not signed in"_s, u"push button: Sign in with Google"_s});
    const auto signIn = startProgram(u"ombru"_s, {u"sign-in"_s});
    reads({u"label: Finish signing in in your browser"_s, u"label: AB-CD"_s, u"push button: Open browser"_s,
           u"push button: Cancel"_s});
    m_poll = R"({"status": "ok", "token": "tok"})";
    EXPECT_EQ(end(signIn).status, 0);
    reads({u"label: Signed in · calls don't reach this Mac yet"_s});
}

TEST_F(PanelReading, WhileATaskRunsStopIsReadBesideIt) {
    beginTask();
    EXPECT_EQ(ombru({u"panel"_s}).status, 0);
    reads({u"label: Working on a task · step 1"_s, u"push button: Stop"_s});
}
