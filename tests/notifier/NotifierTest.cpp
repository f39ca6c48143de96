#include "notifier/Notifier.h"

#include "platform/fake/FakePlatform.h"
#include "tests/support/Wait.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class NotifierTest : public testing::Test {
protected:
    void SetUp() override { FakePlatform::reset(); }
};

} // namespace

TEST_F(NotifierTest, EveryUpdateHasTheSameIdSoThatItReplacesTheOneBefore) {
    Notifier::update(u"Step 1"_s, u"Opening the editor"_s, true);
    Notifier::update(u"Step 2 · running…"_s, u"Typing"_s, false);
    const auto &told = FakePlatform::instance().notifications;
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[0].id, u"ombru.activity"_s);
    EXPECT_EQ(told[1].id, u"ombru.activity"_s);
    EXPECT_EQ(told[0].notification, (Notification{u"Step 1"_s, u"Opening the editor"_s, u"ombru"_s, true}));
    EXPECT_EQ(told[1].notification, (Notification{u"Step 2 · running…"_s, u"Typing"_s, u"ombru"_s, false}));
}

TEST_F(NotifierTest, ClearTakesItAway) {
    Notifier::update(u"Done ✓"_s, u"done"_s, true);
    Notifier::clear();
    const auto &told = FakePlatform::instance().notifications;
    ASSERT_EQ(told.size(), 2U);
    EXPECT_EQ(told[1].id, Notifier::id);
    EXPECT_FALSE(told[1].notification);
}

TEST_F(NotifierTest, AllowedIsWhatTheSystemSays) {
    for (const bool expected : {true, false}) {
        FakePlatform::instance().notificationsAllowed = expected;
        std::optional<bool> answer;
        Notifier::allowed([&](bool allowed) { answer = allowed; });
        EXPECT_FALSE(answer) << "called back before it returned";
        ASSERT_TRUE(waitUntil([&] { return answer.has_value(); }));
        EXPECT_EQ(*answer, expected);
    }
}

TEST_F(NotifierTest, UpdatesHappenWithoutPermissionToo) {
    FakePlatform::instance().notificationsAllowed = false;
    Notifier::update(u"a"_s, u"b"_s, true);
    EXPECT_EQ(FakePlatform::instance().notifications.size(), 1U);
}

TEST_F(NotifierTest, PermissionIsAskedOfTheSystem) {
    Notifier::requestPermission();
    EXPECT_EQ(FakePlatform::instance().notificationPermissionRequests, 1);
}
