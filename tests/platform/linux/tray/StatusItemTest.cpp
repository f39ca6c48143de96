// The icon and its menu as a host of status items gets them over the session bus.
#include "platform/linux/tray/MenuWire.h"
#include "platform/linux/tray/StatusPixmaps.h"
#include "tests/platform/linux/tray/TrayFixture.h"

#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QTimer>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QVariant NOTHING = QVariant::fromValue(QDBusVariant(0));

class StatusItemTest : public TrayTest {
protected:
    StatusItemTest() { registerMenuTypes(); }

    QVariant itemProperty(const QString &name) const { return property(item(), u"/StatusNotifierItem"_s, ITEM, name); }
    MenuLayout layout() const {
        return qdbus_cast<MenuLayout>(callMenu(u"GetLayout"_s, {0, -1, QStringList()}).arguments().value(1));
    }
    uint revision() const { return callMenu(u"GetLayout"_s, {0, -1, QStringList()}).arguments().value(0).toUInt(); }
    static MenuLayout child(const MenuLayout &layout, qsizetype number) {
        return qdbus_cast<MenuLayout>(layout.children.value(number).variant());
    }
    static QString label(const MenuLayout &layout, qsizetype number) {
        return child(layout, number).properties[u"label"_s].toString();
    }
    // The host is told by signals of that name: counts them.
    void listen(const QString &path, const QString &interface, const QString &signal) {
        heard.setSingleShot(true);
        QObject::connect(&heard, &QTimer::timeout, &heard, [this] { ++times; });
        bus().connect(QString(), path, interface, signal, &heard, SLOT(start()));
        EXPECT_TRUE(property(item(), u"/StatusNotifierItem"_s, ITEM, u"Id"_s).isValid()); // the bus knows it by now
    }

    std::unique_ptr<Companion> host = watcher();
    QTimer heard;
    int times = 0;
};

} // namespace

TEST_F(StatusItemTest, AHostLearnsWhatItIs) {
    const auto icon = shownIcon();
    EXPECT_TRUE(item().startsWith(u"org.kde.StatusNotifierItem-%1-"_s.arg(QCoreApplication::applicationPid())));
    EXPECT_EQ(itemProperty(u"Id"_s), u"ombru"_s);
    EXPECT_EQ(itemProperty(u"Title"_s), u"ombru"_s);
    EXPECT_EQ(itemProperty(u"Category"_s), u"ApplicationStatus"_s);
    EXPECT_EQ(itemProperty(u"Status"_s), u"Active"_s);
    EXPECT_EQ(itemProperty(u"IconName"_s), QString());
    EXPECT_EQ(itemProperty(u"ItemIsMenu"_s), false);
    EXPECT_EQ(itemProperty(u"Menu"_s).value<QDBusObjectPath>().path(), u"/MenuBar"_s);
    EXPECT_FALSE(itemProperty(u"NoSuchProperty"_s).isValid());
    const auto all = call(item(), u"/StatusNotifierItem"_s, u"org.freedesktop.DBus.Properties"_s, u"GetAll"_s, {ITEM});
    EXPECT_EQ(qdbus_cast<QVariantMap>(all.arguments().value(0)).size(), 9);
}

TEST_F(StatusItemTest, ItsPicturesAreOfTheSizesOfPanelsInTheOrderOfTheNetwork) {
    MenuBarIcon shown(receiver());
    QPixmap pixmap(64, 64);
    pixmap.fill(QColor(1, 2, 3, 4));
    shown.show(pixmap, u"Ready"_s);
    const auto pixmaps = qdbus_cast<StatusPixmaps>(itemProperty(u"IconPixmap"_s));
    std::vector<int> sizes;
    for (const auto &one : pixmaps) {
        sizes.push_back(one.width);
        EXPECT_EQ(one.height, one.width);
        EXPECT_EQ(one.pixels.size(), qsizetype(4) * one.width * one.height);
        EXPECT_EQ(one.pixels.first(1), QByteArray("\4", 1)) << "alpha comes first";
    }
    EXPECT_EQ(sizes, (std::vector{16, 22, 24, 32, 48, 64}));
    const auto tip = qdbus_cast<StatusToolTip>(itemProperty(u"ToolTip"_s));
    EXPECT_EQ(tip.title, u"Ready"_s);
}

TEST_F(StatusItemTest, AHostIsToldOfAnotherPicture) {
    const auto icon = shownIcon();
    listen(u"/StatusNotifierItem"_s, ITEM, u"NewIcon"_s);
    icon->show(picture(Qt::green), u"a tip"_s);
    EXPECT_TRUE(waitUntil([this] { return times == 1; }));
    const auto pixmaps = qdbus_cast<StatusPixmaps>(itemProperty(u"IconPixmap"_s));
    ASSERT_FALSE(pixmaps.isEmpty());
    EXPECT_EQ(pixmaps[0].pixels.first(4), QByteArray("\xff\x00\xff\x00", 4));
}

TEST_F(StatusItemTest, AHostIsToldOfAnotherTip) {
    const auto icon = shownIcon();
    listen(u"/StatusNotifierItem"_s, ITEM, u"NewToolTip"_s);
    icon->show(picture(Qt::green), u"another"_s);
    EXPECT_TRUE(waitUntil([this] { return times == 1; }));
    EXPECT_EQ(qdbus_cast<StatusToolTip>(itemProperty(u"ToolTip"_s)).title, u"another"_s);
}

TEST_F(StatusItemTest, AClickIsToldWithItsPlaceWhereTheHostTellsOne) {
    const auto icon = shownIcon();
    EXPECT_EQ(callItem(u"Activate"_s, {100, 200}).type(), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(waitUntil([this] { return clicks == std::vector{QRect(100, 200, 1, 1)}; }));
    clicks.clear();
    for (const QPoint nowhere : {QPoint(0, 0), QPoint(-1, -1), QPoint(30000, 5)})
        callItem(u"Activate"_s, {nowhere.x(), nowhere.y()});
    EXPECT_TRUE(waitUntil([this] { return clicks == std::vector<QRect>(3); }));
    clicks.resize(1);
    EXPECT_EQ(callItem(u"SecondaryActivate"_s, {1, 2}).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(callItem(u"Scroll"_s, {1, u"vertical"_s}).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(callItem(u"ProvideXdgActivationToken"_s, {u"t"_s}).type(), QDBusMessage::ReplyMessage);
    settle();
    EXPECT_EQ(clicks.size(), 1U);
}

TEST_F(StatusItemTest, AHostWithoutMenusOfItsOwnHasOursOpened) {
    const auto icon = shownIcon();
    icon->setMenu({{1, u"Quit"_s}});
    callItem(u"ContextMenu"_s, {300, 200});
    ASSERT_TRUE(waitUntil([] { return QApplication::activePopupWidget() != nullptr; }));
    EXPECT_EQ(QApplication::activePopupWidget()->pos(), QPoint(300, 200));
    QApplication::activePopupWidget()->close();
}

TEST_F(StatusItemTest, TheMenuHasItsEntriesAndLines) {
    const auto icon = shownIcon();
    icon->setMenu({{0, u"a_b"_s}, {5, u"Stop"_s, false, false}, {6, u"Quit"_s, true}});
    const auto menu = layout();
    EXPECT_EQ(menu.properties[u"children-display"_s], u"submenu"_s);
    ASSERT_EQ(menu.children.size(), 4);
    EXPECT_EQ(label(menu, 0), u"a__b"_s) << "an underscore marks a letter";
    EXPECT_EQ(child(menu, 0).properties[u"enabled"_s], true);
    EXPECT_EQ(label(menu, 1), u"Stop"_s);
    EXPECT_EQ(child(menu, 1).properties[u"enabled"_s], false);
    EXPECT_EQ(child(menu, 2).properties[u"type"_s], u"separator"_s);
    EXPECT_EQ(label(menu, 3), u"Quit"_s);
}

TEST_F(StatusItemTest, AnEntryIsChosen) {
    const auto icon = shownIcon();
    icon->setMenu({{4, u"Open"_s}, {5, u"Stop"_s, false, false}, {6, u"Quit"_s, true}});
    const auto menu = layout();
    callMenu(u"Event"_s, {child(menu, 0).id, u"hovered"_s, NOTHING, 0U});
    callMenu(u"Event"_s, {child(menu, 1).id, u"clicked"_s, NOTHING, 0U});
    callMenu(u"Event"_s, {child(menu, 2).id, u"clicked"_s, NOTHING, 0U});
    callMenu(u"Event"_s, {12345, u"clicked"_s, NOTHING, 0U});
    callMenu(u"Event"_s, {child(menu, 3).id, u"clicked"_s, NOTHING, 0U});
    EXPECT_TRUE(waitUntil([this] { return !chosen.empty(); }));
    EXPECT_EQ(chosen, std::vector{6});
    const QList<MenuEvent> events{{child(menu, 0).id, u"clicked"_s, QDBusVariant(0), 0},
                                  {777, u"clicked"_s, QDBusVariant(0), 0}};
    const auto reply = callMenu(u"EventGroup"_s, {QVariant::fromValue(events)});
    EXPECT_EQ(qdbus_cast<QList<int>>(reply.arguments().value(0)), QList<int>{777});
    EXPECT_TRUE(waitUntil([this] { return chosen == std::vector{6, 4}; }));
}

TEST_F(StatusItemTest, AnEntryKeepsItsNumberWhenOthersComeAndGo) {
    const auto icon = shownIcon();
    icon->setMenu({{4, u"Open"_s}, {5, u"Stop"_s}, {6, u"Quit"_s}});
    const auto before = layout();
    icon->setMenu({{4, u"Open"_s}, {6, u"Quit"_s}});
    EXPECT_EQ(child(layout(), 1).id, child(before, 2).id);
    callMenu(u"Event"_s, {child(before, 1).id, u"clicked"_s, NOTHING, 0U});
    settle();
    EXPECT_TRUE(chosen.empty()) << "it was chosen after it had gone";
}

TEST_F(StatusItemTest, AHostIsToldOfAnotherMenu) {
    const auto icon = shownIcon();
    icon->setMenu({{4, u"Stop"_s}});
    const auto before = revision();
    listen(u"/MenuBar"_s, MENU, u"LayoutUpdated"_s);
    icon->setMenu({{4, u"Hang up"_s}});
    EXPECT_TRUE(waitUntil([this] { return times == 1; }));
    EXPECT_GT(revision(), before);
    EXPECT_EQ(label(layout(), 0), u"Hang up"_s);
}

TEST_F(StatusItemTest, AHostIsToldOfOtherTexts) {
    const auto icon = shownIcon();
    icon->setMenu({{4, u"Stop"_s}});
    listen(u"/MenuBar"_s, MENU, u"ItemsPropertiesUpdated"_s);
    icon->setMenu({{4, u"Hang up"_s}});
    EXPECT_TRUE(waitUntil([this] { return times == 1; }));
}

TEST_F(StatusItemTest, APartOfTheMenuIsToldByItself) {
    const auto icon = shownIcon();
    icon->setMenu({{4, u"Open"_s}, {5, u"Stop"_s}});
    const auto id = child(layout(), 1).id;
    const auto some = callMenu(u"GetGroupProperties"_s, {QVariant::fromValue(QList<int>{id}), QStringList()});
    const auto properties = qdbus_cast<QList<MenuProperties>>(some.arguments().value(0));
    ASSERT_EQ(properties.size(), 1);
    EXPECT_EQ(properties[0].id, id);
    EXPECT_EQ(properties[0].properties[u"label"_s], u"Stop"_s);
    const auto label = callMenu(u"GetProperty"_s, {id, u"label"_s}).arguments().value(0);
    EXPECT_EQ(label.value<QDBusVariant>().variant(), u"Stop"_s);
    EXPECT_EQ(callMenu(u"AboutToShow"_s, {0}).arguments().value(0), false);
    EXPECT_EQ(callMenu(u"AboutToShowGroup"_s, {QVariant::fromValue(QList<int>{0})}).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(property(item(), u"/MenuBar"_s, MENU, u"Version"_s), 3U);
}

TEST_F(StatusItemTest, WhatIsAskedWronglyIsRefused) {
    const auto icon = shownIcon();
    icon->setMenu({{4, u"Open"_s}});
    EXPECT_EQ(callItem(u"Activate"_s, {u"here"_s}).errorName(), u"org.freedesktop.DBus.Error.InvalidArgs"_s);
    EXPECT_EQ(callItem(u"Explode"_s, {}).errorName(), u"org.freedesktop.DBus.Error.UnknownMethod"_s);
    EXPECT_EQ(callMenu(u"EventGroup"_s, {7}).errorName(), u"org.freedesktop.DBus.Error.InvalidArgs"_s);
    const QVariantList writing{ITEM, u"Id"_s, QVariant::fromValue(QDBusVariant(u"other"_s))};
    EXPECT_EQ(
        call(item(), u"/StatusNotifierItem"_s, u"org.freedesktop.DBus.Properties"_s, u"Set"_s, writing).errorName(),
        u"org.freedesktop.DBus.Error.UnknownProperty"_s);
    EXPECT_TRUE(clicks.empty());
}

TEST_F(StatusItemTest, ItsInterfacesAreDescribed) {
    const auto icon = shownIcon();
    const auto described = [this](const QString &path) {
        return call(item(), path, u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s, {})
            .arguments()
            .value(0)
            .toString();
    };
    EXPECT_TRUE(described(u"/StatusNotifierItem"_s).contains(u"<interface name=\"org.kde.StatusNotifierItem\">"_s));
    EXPECT_TRUE(described(u"/MenuBar"_s).contains(u"<method name=\"AboutToShowGroup\">"_s));
}

int main(int argc, char **argv) {
    ::testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
