// The application in the menu bar as an item of the desktop's status notifier: what the host asks and tells, as
// xfce4-panel and others do, and the whole application behind it.
#include "platform/linux/tray/MenuWire.h"
#include "tests/app/MenuBarJourney.h"
#include "tests/support/SessionBus.h"
#include "tests/support/StatusHost.h"

#include <QDBusMetaType>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QDBusVariant NOTHING(0);

class StatusItemJourney : public MenuBarJourney, protected StatusHost {
protected:
    StatusItemJourney() {
        registerMenuTypes();
        m_environment["DBUS_SESSION_BUS_ADDRESS"] = m_bus->address();
    }

    MenuLayout layout() const {
        return qdbus_cast<MenuLayout>(callMenu(u"GetLayout"_s, {0, -1, QStringList()}).arguments().value(1));
    }
    // The number of the entry with that text.
    int entry(const QString &text) const {
        const auto menu = layout();
        for (const auto &each : menu.children)
            if (const auto child = qdbus_cast<MenuLayout>(each.variant()); child.properties[u"label"_s] == text)
                return child.id;
        return -1;
    }
    // As libdbusmenu does: in one message, once the menu is shown.
    void choose(int entry) const {
        const QList<MenuEvent> events{{0, u"opened"_s, NOTHING, 0}, {entry, u"clicked"_s, NOTHING, 0}};
        callMenu(u"EventGroup"_s, {QVariant::fromValue(events)});
    }

    std::unique_ptr<SessionBus> m_bus = std::make_unique<SessionBus>();
    std::unique_ptr<Companion> m_watcher = watcher();
};

} // namespace

TEST_F(StatusItemJourney, AClickOpensThePanelWhereItWasAndAnotherClosesIt) {
    launchAgain();
    callItem(u"Activate"_s, {1200, 10});
    ASSERT_TRUE(opens(PANEL));
    EXPECT_TRUE(waitUntil([] {
        const auto place = panelPlace();
        return std::abs(place.center().x() - 1200) <= 2 && place.y() < 40;
    }));
    callItem(u"Activate"_s, {1200, 10});
    EXPECT_TRUE(closes(PANEL));
    callItem(u"Activate"_s, {0, 0});
    ASSERT_TRUE(opens(PANEL));
    EXPECT_TRUE(waitUntil([] { return panelPlace().x() > 1500; })) << "in the corner where the host tells no place";
}

TEST_F(StatusItemJourney, ItsMenuOpensThePanelAndEndsTheApplication) {
    launchAgain();
    EXPECT_EQ(layout().children.size(), 4);
    choose(entry(u"Open panel"_s));
    EXPECT_TRUE(opens(PANEL));
    choose(entry(u"Quit"_s));
    EXPECT_EQ(end(m_menuBar).status, 0);
}

// The menu changes when a task begins, which may be while it is open.
TEST_F(StatusItemJourney, AChoiceRightAfterTheMenuHasChangedIsTaken) {
    const auto claude = beginTask();
    const int stop = entry(u"Stop"_s);
    callMenu(u"AboutToShow"_s, {0});
    choose(stop);
    EXPECT_TRUE(waitUntil([&] { return !isAlive(claude); }));
}

TEST_F(StatusItemJourney, AHostThatCrashesAndStartsAgainShowsItAgain) {
    launchAgain();
    for (int times = 0; times < 5; ++times) {
        item();
        m_watcher->end(SIGKILL);
        m_watcher = watcher();
    }
    callItem(u"Activate"_s, {1200, 10});
    EXPECT_TRUE(opens(PANEL));
    EXPECT_EQ(watcherItems()->size(), 1);
}

// As a real panel, which embeds icons and shows items, and has the one a moment before the other.
TEST_F(StatusItemJourney, AHostThatAlsoEmbedsIconsCrashesAndStartsAgain) {
    const auto embedder = [] {
        return std::make_unique<Companion>(
            QByteArrayList{"bash", "-c", "echo started >&%fd; exec trayer --edge top --align right --height 24"},
            "trayer");
    };
    auto panel = embedder();
    launchAgain();
    for (int times = 0; times < 5; ++times) {
        item();
        panel->end(SIGKILL);
        m_watcher->end(SIGKILL);
        panel = embedder();
        m_watcher = watcher();
    }
    callItem(u"Activate"_s, {1200, 10});
    EXPECT_TRUE(opens(PANEL));
}

TEST_F(StatusItemJourney, ASessionBusThatIsRestartedHasTheItemAgainAtOnce) {
    launchAgain();
    item();
    const auto directory = m_bus->directory();
    m_watcher->end(SIGKILL);
    m_bus.reset();
    leaveBus();
    m_bus = std::make_unique<SessionBus>(directory);
    m_watcher = watcher();
    callItem(u"Activate"_s, {1200, 10});
    EXPECT_TRUE(opens(PANEL));
}
