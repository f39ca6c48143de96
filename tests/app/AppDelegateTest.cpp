#include "app/lifecycle/AppDelegate.h"

#include "platform/fake/FakePlatform.h"
#include "tests/support/Wait.h"

#include <QTemporaryDir>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class AppDelegateTest : public testing::Test {
protected:
    AppDelegateTest() { FakePlatform::reset(); }

    // One start of the application, to the end of what it does once.
    void launch(const QString &file) {
        Settings settings(file);
        AppDelegate delegate(settings, [this] { note(u"hint"_s); });
        delegate.applicationDidFinishLaunching();
        await(delegate.drain());
    }
    void launch() { launch(m_file); }
    void note(const QString &what) { m_done += what; }
    static int registrations() { return FakePlatform::instance().desktop->loginRegistrations; }

    QTemporaryDir m_directory;
    const QString m_file = m_directory.filePath(u"ombru.conf"_s);
    QStringList m_done;
};

} // namespace

TEST_F(AppDelegateTest, TheFirstStartRegistersAtLoginAndShowsTheHint) {
    launch();
    EXPECT_EQ(registrations(), 1);
    EXPECT_EQ(m_done, QStringList{u"hint"_s});
    EXPECT_EQ(FakePlatform::instance().notificationPermissionRequests, 1);
}

TEST_F(AppDelegateTest, ASecondStartDoesNeitherAgain) {
    launch();
    launch();
    EXPECT_EQ(registrations(), 1);
    EXPECT_EQ(m_done.size(), 1);
    EXPECT_EQ(FakePlatform::instance().notificationPermissionRequests, 2);
}

TEST_F(AppDelegateTest, ALaterStartHasAnItemOfAProgramThatIsGoneStartThisOne) {
    const auto repairs = [] { return FakePlatform::instance().desktop->loginRepairs; };
    launch();
    EXPECT_EQ(repairs(), 0);
    launch();
    EXPECT_EQ(repairs(), 1);
}

TEST_F(AppDelegateTest, AFailedRegistrationIsNotTriedAgainAndNobodyIsTold) {
    FakePlatform::instance().desktop->loginItem = std::unexpected(Failure{u"login"_s, 1, u"full"_s});
    launch();
    FakePlatform::instance().desktop->loginItem = {};
    launch();
    EXPECT_EQ(registrations(), 1);
    EXPECT_TRUE(FakePlatform::instance().notifications.empty());
}

TEST_F(AppDelegateTest, EachFlagIsWrittenBeforeWhatItGuards) {
    Settings settings(m_file);
    bool writtenBefore = false;
    AppDelegate delegate(settings, [&] {
        writtenBefore = Settings(m_file).shownMenuBarHint() && Settings(m_file).loginItemDefaulted();
    });
    delegate.applicationDidFinishLaunching();
    await(delegate.drain());
    EXPECT_TRUE(writtenBefore);
}

TEST_F(AppDelegateTest, WhereNothingCanBeWrittenNothingIsDoneAtEveryStart) {
    launch(u"/proc/none/ombru.conf"_s);
    EXPECT_EQ(registrations(), 0);
    EXPECT_TRUE(m_done.isEmpty());
}

TEST_F(AppDelegateTest, EachReopeningShowsTheHintAndOpensNoWindow) {
    Settings settings(m_file);
    AppDelegate delegate(settings, [this] { note(u"hint"_s); });
    EXPECT_FALSE(delegate.applicationShouldHandleReopen(false));
    EXPECT_FALSE(delegate.applicationShouldHandleReopen(true));
    EXPECT_EQ(m_done.size(), 2);
}
