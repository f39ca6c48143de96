// What one run shows and the next one finds. Each test has an identifier of its own: what this process itself showed
// under another is nothing that an earlier one left.
#include "platform/linux/services/KeptNotification.h"

#include "platform/Notifications.h"
#include "tests/support/NotificationServerStandIn.h"
#include "tests/support/SessionBus.h"
#include "tests/support/Wait.h"

#include <QDir>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class KeptNotificationTest : public testing::Test {
protected:
    ~KeptNotificationTest() override { QDBusConnection::disconnectFromBus(u"ombru.notifications"_s); }

    static NotificationServer::Found found() {
        return await(NotificationServer::find()).value_or(NotificationServer::Found());
    }
    // What an earlier run has on the screen.
    static void left(NotificationServerStandIn &server, const QString &id, uint number) {
        server.shown.push_back({number, u"ombru"_s, u"earlier"_s, {}, 1});
        KeptNotification::keep(id, found(), number);
    }
    static void show(const QString &id) {
        showNotification(id, {u"now"_s, {}, u"ombru"_s, true});
        await(notificationsDelivered());
    }

    QTemporaryDir m_runtime;
    Variable m_directory{"XDG_RUNTIME_DIR", m_runtime.path().toUtf8()};
    SessionBus m_bus;
};

} // namespace

TEST_F(KeptNotificationTest, WhatAnEarlierRunLeftIsReplaced) {
    NotificationServerStandIn server(m_bus.address());
    left(server, u"replaced"_s, 7);
    show(u"replaced"_s);
    ASSERT_EQ(server.shown.size(), 1U);
    EXPECT_EQ(server.shown[0].title, u"now"_s);
    EXPECT_EQ(server.shown[0].number, 7U);
}

TEST_F(KeptNotificationTest, WhatAnEarlierRunLeftIsTakenAway) {
    NotificationServerStandIn server(m_bus.address());
    left(server, u"taken"_s, 7);
    clearNotification(u"taken"_s);
    await(notificationsDelivered());
    EXPECT_TRUE(server.shown.empty());
    EXPECT_EQ(KeptNotification::number(u"taken"_s, found()), 0U);
}

TEST_F(KeptNotificationTest, TheNumberIsKeptForTheNextRunUntilItIsTakenAway) {
    NotificationServerStandIn server(m_bus.address(), 5);
    show(u"kept"_s);
    EXPECT_EQ(KeptNotification::number(u"kept"_s, found()), 5U);
    EXPECT_EQ(KeptNotification::number(u"other"_s, found()), 0U);
    const QFileInfo place(m_runtime.filePath(u"ombru"_s));
    EXPECT_FALSE(place.permissions() & (QFile::ReadGroup | QFile::ReadOther));
    clearNotification(u"kept"_s);
    await(notificationsDelivered());
    EXPECT_TRUE(QDir(place.filePath()).isEmpty());
}

TEST_F(KeptNotificationTest, TheNumberOfAServerThatHasGoneIsNobodys) {
    auto server = std::make_unique<NotificationServerStandIn>(m_bus.address());
    left(*server, u"gone"_s, 1);
    server = nullptr;
    server = std::make_unique<NotificationServerStandIn>(m_bus.address(), 2);
    server->shown.push_back({1, u"mail"_s, u"You have mail"_s, {}, 1});
    show(u"gone"_s);
    ASSERT_EQ(server->shown.size(), 2U);
    EXPECT_EQ(server->shown[0].title, u"You have mail"_s);
}

TEST_F(KeptNotificationTest, TheNumberOfAnotherBusIsNobodys) {
    NotificationServerStandIn server(m_bus.address(), 2);
    auto other = found();
    other.bus = u"0123"_s;
    KeptNotification::keep(u"bus"_s, other, 1);
    server.shown.push_back({1, u"mail"_s, u"You have mail"_s, {}, 1});
    show(u"bus"_s);
    EXPECT_EQ(server.shown.size(), 2U);
}

TEST_F(KeptNotificationTest, WhatIsNoNumberIsNone) {
    const NotificationServerStandIn server(m_bus.address());
    KeptNotification::keep(u"broken"_s, found(), 3);
    const auto files = QDir(m_runtime.filePath(u"ombru"_s)).entryInfoList(QDir::Files);
    ASSERT_EQ(files.size(), 1);
    QFile file(files[0].filePath());
    for (const QByteArray &text :
         {QByteArray(), found().owner.toUtf8(), found().owner.toUtf8() + " x", QByteArray(" 3")}) {
        ASSERT_TRUE(file.open(QFile::WriteOnly | QFile::Truncate));
        file.write(text);
        file.close();
        EXPECT_EQ(KeptNotification::number(u"broken"_s, found()), 0U) << text.toStdString();
    }
}

TEST_F(KeptNotificationTest, WithoutARuntimeDirectoryItIsShownAndNothingIsKept) {
    const Variable nowhere("XDG_RUNTIME_DIR", "/nonexistent");
    NotificationServerStandIn server(m_bus.address());
    show(u"nowhere"_s);
    EXPECT_EQ(server.shown.size(), 1U);
    EXPECT_EQ(KeptNotification::number(u"nowhere"_s, found()), 0U);
    EXPECT_FALSE(QDir(u"/nonexistent"_s).exists());
}
