// Where the icon is: embedded, or an item of a status notifier; and whose place comes and goes.
#include "platform/MenuBarIcon.h"

#include "base/Background.h"
#include "tests/platform/linux/tray/TrayFixture.h"
#include "tests/support/SessionBus.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

using Places = std::vector<bool>;

namespace {

class MenuBarIconTest : public TrayTest {
protected:
    // Where a bus comes and goes, with the environment naming it all the time, as in a session.
    struct BusPlace {
        std::shared_ptr<QTemporaryDir> directory = std::make_shared<QTemporaryDir>();
        Variable address{"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + QFile::encodeName(directory->filePath(u"bus"_s))};
    };
};

} // namespace

// The first of all: what Qt is when it makes its first icon, it stays.
TEST_F(MenuBarIconTest, AnItemWhoseHostGoesAwayIsEmbedded) {
    auto host = watcher();
    const auto icon = shownIcon();
    item();
    EXPECT_TRUE(waitUntil([&] { return places == Places{true}; }));
    const auto panel = embedder();
    host.reset();
    EXPECT_TRUE(waitUntil([&] { return !embeddedAt().isEmpty(); }));
    EXPECT_TRUE(isEmbedded());
    EXPECT_TRUE(icon->isShown());
    host = watcher();
    item();
    EXPECT_TRUE(waitUntil([&] { return embeddedAt().isEmpty(); }));
    EXPECT_TRUE(icon->isShown());
}

TEST_F(MenuBarIconTest, AClickOnAnEmbeddedIconTellsWhereItIs) {
    const auto panel = embedder();
    const auto icon = shownIcon();
    ASSERT_TRUE(isEmbedded());
    EXPECT_TRUE(icon->isShown());
    EXPECT_TRUE(waitUntil([&] { return places == Places{true}; }));
    const auto place = embeddedAt();
    click(place.center());
    ASSERT_TRUE(waitUntil([&] { return !clicks.empty(); }));
    EXPECT_EQ(clicks, std::vector{place});
}

TEST_F(MenuBarIconTest, OfTwoQuickClicksEachIsTold) {
    const auto panel = embedder();
    const auto icon = shownIcon();
    ASSERT_TRUE(isEmbedded());
    click(embeddedAt().center());
    click(embeddedAt().center());
    EXPECT_TRUE(waitUntil([&] { return clicks.size() == 2; }));
}

TEST_F(MenuBarIconTest, AnEmbeddedIconChangesItsPicture) {
    const auto panel = embedder();
    const auto icon = shownIcon();
    ASSERT_TRUE(isEmbedded());
    icon->show(picture(Qt::green), u"another tip"_s);
    EXPECT_TRUE(waitUntil([&] { return showsAt(embeddedAt(), 0x00ff00); }));
}

TEST_F(MenuBarIconTest, AnEntryOfAnEmbeddedIconsMenuIsChosen) {
    const auto panel = embedder();
    const auto icon = shownIcon();
    icon->setMenu({{4, u"Open & close"_s}, {7, u"Stop"_s}, {9, u"Quit"_s, true}});
    ASSERT_TRUE(isEmbedded());
    click(embeddedAt().center(), 3);
    ASSERT_TRUE(waitUntil([] { return QApplication::activePopupWidget() != nullptr; }));
    const auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
    ASSERT_TRUE(menu);
    ASSERT_EQ(menu->actions().size(), 4);
    EXPECT_EQ(menu->actions().front()->text(), u"Open && close"_s);
    EXPECT_TRUE(menu->actions().at(2)->isSeparator());
    click(menu->mapToGlobal(menu->actionGeometry(menu->actions().at(1)).center()));
    EXPECT_TRUE(waitUntil([&] { return chosen == std::vector{7}; }));
    EXPECT_TRUE(clicks.empty());
}

TEST_F(MenuBarIconTest, WithoutAnyHostItIsNotShown) {
    const auto icon = shownIcon();
    icon->setMenu({{1, u"Quit"_s}});
    ASSERT_TRUE(waitUntil([this] { return namesOnBus().contains(u"org.kde.StatusNotifierItem-"_s); }));
    settle();
    EXPECT_FALSE(icon->isShown());
    EXPECT_TRUE(places.empty());
}

TEST_F(MenuBarIconTest, WhoEmbedsIconsMayComeLateGoAwayAndComeBack) {
    const auto icon = shownIcon();
    auto panel = embedder();
    ASSERT_TRUE(isEmbedded());
    panel->end(SIGKILL);
    EXPECT_TRUE(waitUntil([&] { return places == Places{true, false}; }));
    EXPECT_FALSE(icon->isShown());
    panel = embedder();
    ASSERT_TRUE(isEmbedded());
    EXPECT_TRUE(waitUntil([&] { return places == (Places{true, false, true}); }));
    click(embeddedAt().center());
    EXPECT_TRUE(waitUntil([&] { return clicks.size() == 1; }));
}

TEST_F(MenuBarIconTest, AWatcherMayComeLateGoAwayAndComeBack) {
    const auto icon = shownIcon();
    auto host = watcher();
    const auto first = item();
    EXPECT_TRUE(waitUntil([&] { return places == Places{true}; }));
    host->end(SIGKILL);
    EXPECT_TRUE(waitUntil([&] { return places == (Places{true, false}); }));
    host = watcher();
    EXPECT_EQ(item(), first);
    EXPECT_TRUE(waitUntil([&] { return places == (Places{true, false, true}); }));
}

TEST_F(MenuBarIconTest, AWatcherWithoutAHostLeavesItEmbeddedUntilOneComes) {
    const auto panel = embedder();
    const auto without = watcher(false);
    const auto icon = shownIcon();
    ASSERT_TRUE(isEmbedded());
    EXPECT_EQ(watcherItems(), QStringList());
    setHost(true);
    item();
    EXPECT_TRUE(waitUntil([this] { return embeddedAt().isEmpty(); }));
    setHost(false);
    EXPECT_TRUE(isEmbedded());
    setHost(true);
    EXPECT_TRUE(waitUntil([this] { return embeddedAt().isEmpty(); }));
    EXPECT_EQ(watcherItems()->size(), 1) << "a watcher is told once";
    EXPECT_EQ(places, Places{true}) << "there was a place all the time";
}

TEST_F(MenuBarIconTest, ABusThatGoesAwayLeavesItEmbeddedAndOneThatComesBackIsFound) {
    const BusPlace place;
    auto daemon = std::make_unique<SessionBus>(place.directory);
    leaveBus();
    auto host = watcher();
    const auto icon = shownIcon();
    item();
    const auto panel = embedder();
    daemon.reset();
    EXPECT_TRUE(isEmbedded());
    daemon = std::make_unique<SessionBus>(place.directory);
    leaveBus();
    host = watcher();
    icon->show(picture(Qt::blue), u"a tip"_s);
    item();
    EXPECT_TRUE(waitUntil([this] { return embeddedAt().isEmpty(); }));
    leaveBus();
}

TEST_F(MenuBarIconTest, ABusThatIsRestartedIsFoundAtOnce) {
    const BusPlace place;
    auto daemon = std::make_unique<SessionBus>(place.directory);
    leaveBus();
    auto host = watcher();
    const auto icon = shownIcon();
    item();
    EXPECT_TRUE(waitUntil([&] { return places == Places{true}; }));
    daemon.reset();
    EXPECT_TRUE(waitUntil([&] { return places == (Places{true, false}); }));
    daemon = std::make_unique<SessionBus>(place.directory);
    leaveBus();
    host = watcher();
    item();
    EXPECT_TRUE(waitUntil([&] { return places == (Places{true, false, true}); }));
    leaveBus();
}

// Long after, when nobody tries any more.
TEST_F(MenuBarIconTest, ABusThatComesLateIsFoundByItsPlace) {
    ManualClock clock;
    const BusPlace place;
    const auto icon = shownIcon();
    for (int tries = 0; tries < 20; ++tries) {
        ASSERT_TRUE(waitUntil(backgroundIsIdle)); // the attempt before has failed
        settle();
        clock.advance(std::chrono::seconds(30));
        settle();
    }
    const SessionBus daemon(place.directory);
    leaveBus();
    const auto host = watcher();
    EXPECT_TRUE(waitUntil([&] {
        clock.advance(std::chrono::seconds(1));
        return icon->isShown();
    }));
    leaveBus();
}

TEST_F(MenuBarIconTest, WithoutABusItIsEmbedded) {
    const Variable address("DBUS_SESSION_BUS_ADDRESS", "");
    const Variable runtime("XDG_RUNTIME_DIR", "/nonexistent");
    const auto panel = embedder();
    const auto icon = shownIcon();
    EXPECT_TRUE(isEmbedded());
}

TEST_F(MenuBarIconTest, ItsPlaceGoesWithIt) {
    const auto panel = embedder();
    auto icon = shownIcon();
    ASSERT_TRUE(isEmbedded());
    icon.reset();
    EXPECT_TRUE(embeddedAt().isEmpty());
    const auto host = watcher();
    icon = shownIcon();
    item();
    icon.reset();
    EXPECT_TRUE(waitUntil([&] { return watcherItems() == QStringList(); }));
}

TEST_F(MenuBarIconTest, WhatIsToldMayEndIt) {
    const auto panel = embedder();
    std::unique_ptr<MenuBarIcon> icon;
    icon = std::make_unique<MenuBarIcon>(MenuBarIcon::Receiver{[&](const QRect &) { icon.reset(); }, {}, {}});
    icon->show(picture(Qt::red), {});
    ASSERT_TRUE(isEmbedded());
    click(embeddedAt().center());
    EXPECT_TRUE(waitUntil([&] { return !icon; }));
    const auto host = watcher();
    icon = std::make_unique<MenuBarIcon>(MenuBarIcon::Receiver{{}, [&](int) { icon.reset(); }, {}});
    icon->setMenu({{3, u"Quit"_s}});
    icon->show(picture(Qt::red), {});
    callMenu(u"Event"_s, {7, u"clicked"_s, QVariant::fromValue(QDBusVariant(0)), 0U});
    EXPECT_TRUE(waitUntil([&] { return !icon; }));
}

int main(int argc, char **argv) {
    ::testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
