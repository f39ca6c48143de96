#include "permissions/Permissions.h"

#include "base/Background.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/Processes.h"
#include "tests/support/Wait.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using State = Permission::State;

namespace {

const QString SYSTEM_EVENTS = u"com.apple.systemevents"_s;

class PermissionsTest : public testing::Test {
protected:
    PermissionsTest() {
        FakePlatform::reset();
        FakePlatform::instance().osascript = m_scratch.script(u"osascript"_s, "exit 0");
        addSystemEvents({u"System Events"_s});
    }

    static Guarded<FakeDesktop> &desktop() { return FakePlatform::instance().desktop; }
    static void addSystemEvents(const FakeApplication &application) {
        desktop()->applications[SYSTEM_EVENTS] = application;
    }
    static State state(const QString &id) {
        return test::await(background([id] { return Permissions::state(id); }));
    }
    static QStringList opened() { return copied(desktop()->openedURLs); }

    // What has been handed to the background has been done: jobs begin in order, so all before an empty one have begun.
    static void finishOpening() {
        test::settle();
        test::await(background([] {}));
        ASSERT_TRUE(finishBackground(std::chrono::minutes(1)));
    }
    static void request(const QString &id) {
        const auto found = std::ranges::find(Permissions::all, id, &Permission::id);
        ASSERT_NE(found, Permissions::all.end());
        test::await(Permissions::request(*found));
    }

    test::Scratch m_scratch;
};

QString pane(const QString &name) {
    return u"x-apple.systempreferences:com.apple.preference.security?"_s + name;
}

} // namespace

TEST_F(PermissionsTest, TheScreenAndTheInputAreGrantedOrMissing) {
    EXPECT_EQ(state(u"screen"_s), State::granted);
    EXPECT_EQ(state(u"accessibility"_s), State::granted);
    desktop()->screenAllowed = false;
    EXPECT_EQ(state(u"screen"_s), State::missing);
    EXPECT_EQ(state(u"accessibility"_s), State::granted);
    desktop()->inputAllowed = false;
    EXPECT_EQ(state(u"accessibility"_s), State::missing);
}

TEST_F(PermissionsTest, AutomationIsWhatTheSystemSaysOfSystemEvents) {
    for (const auto &[code, expected] : {std::pair(AUTOMATION_ALLOWED, State::granted),
                                         {AUTOMATION_REFUSED, State::missing},
                                         {AUTOMATION_UNDECIDED, State::missing},
                                         {AUTOMATION_BAD_TARGET, State::unknown},
                                         {-1712, State::unknown}}) {
        addSystemEvents({.name = u"System Events"_s, .permission = code});
        EXPECT_EQ(state(u"automation"_s), expected) << code;
    }
    const QStringList determined = copied(desktop()->determined);
    EXPECT_EQ(determined, QStringList(5, u"look "_s + SYSTEM_EVENTS)) << "asks nobody";
    EXPECT_EQ(desktop()->startedHidden.size(), 0);
}

TEST_F(PermissionsTest, SystemEventsIsStartedSoThatTheNextLookCanTell) {
    addSystemEvents({.name = u"System Events"_s, .running = false});
    EXPECT_EQ(state(u"automation"_s), State::unknown);
    ASSERT_TRUE(test::waitUntil([] { return desktop()->startedHidden == QStringList{SYSTEM_EVENTS}; }));
    EXPECT_EQ(state(u"automation"_s), State::granted);
}

TEST_F(PermissionsTest, WhatIsNotInstalledIsNotStarted) {
    desktop()->applications.clear();
    EXPECT_EQ(state(u"automation"_s), State::unknown);
    finishOpening();
    EXPECT_EQ(desktop()->startedHidden.size(), 0);
    EXPECT_TRUE(FakePlatform::instance().logged.empty());
}

TEST_F(PermissionsTest, AnUnknownPermissionHasAnUnknownState) {
    EXPECT_EQ(state(u"camera"_s), State::unknown);
    EXPECT_EQ(state({}), State::unknown);
    EXPECT_EQ(desktop()->determined.size(), 0);
}

TEST_F(PermissionsTest, ARequestThatIsGrantedOpensNoSettings) {
    request(u"screen"_s);
    request(u"accessibility"_s);
    request(u"automation"_s);
    finishOpening();
    EXPECT_EQ(desktop()->screenRequests, 1);
    EXPECT_EQ(desktop()->inputRequests, 1);
    EXPECT_EQ(desktop()->requestsOnMainThread, 0);
    EXPECT_EQ(opened(), QStringList());
}

TEST_F(PermissionsTest, ARequestThatIsRefusedOpensItsPane) {
    desktop()->screenAnswer = false;
    request(u"screen"_s);
    finishOpening();
    EXPECT_EQ(opened(), QStringList{pane(u"Privacy_ScreenCapture"_s)});
    desktop()->inputAnswer = false;
    request(u"accessibility"_s);
    finishOpening();
    EXPECT_EQ(opened().last(), pane(u"Privacy_Accessibility"_s));
    EXPECT_EQ(opened().size(), 2);
}

TEST_F(PermissionsTest, AutomationIsRequestedByAnEventToSystemEvents) {
    const auto arguments = m_scratch.path(u"arguments"_s);
    FakePlatform::instance().osascript =
        m_scratch.script(u"osascript"_s, "printf '%s|' \"$@\" >'" + arguments.toUtf8() + "'");
    request(u"automation"_s);
    EXPECT_EQ(test::contents(arguments), "-e|tell application \"System Events\" to return name of first process|");
}

TEST_F(PermissionsTest, AnEventThatFailsOpensTheAutomationPane) {
    FakePlatform::instance().osascript = m_scratch.script(u"osascript"_s, "exit 1");
    request(u"automation"_s);
    finishOpening();
    EXPECT_EQ(opened(), QStringList{pane(u"Privacy_Automation"_s)});
}

TEST_F(PermissionsTest, AToolThatCannotBeStartedOpensTheAutomationPane) {
    FakePlatform::instance().osascript = u"/no/such/osascript"_s;
    request(u"automation"_s);
    finishOpening();
    EXPECT_EQ(opened(), QStringList{pane(u"Privacy_Automation"_s)});
}

TEST_F(PermissionsTest, AnUnknownPermissionIsRequestedInTheSettings) {
    test::await(Permissions::request({u"camera"_s, u"Camera"_s, {}, false, u"Privacy_Camera"_s}));
    finishOpening();
    EXPECT_EQ(opened(), QStringList{pane(u"Privacy_Camera"_s)});
}

TEST_F(PermissionsTest, ARequestThatIsCalledOffEndsAtOnceAndOpensNothing) {
    const auto pid = m_scratch.path(u"pid"_s);
    FakePlatform::instance().osascript =
        m_scratch.script(u"osascript"_s, "echo $$ >'" + pid.toUtf8() + "'; exec sleep 1000");
    std::stop_source stop;
    const auto ended = std::make_shared<bool>(false);
    const auto kept = test::mark(Permissions::request(Permissions::all[2], stop.get_token()), ended);
    const auto process = test::pidIn(pid);
    stop.request_stop();
    ASSERT_TRUE(test::waitUntil([&] { return *ended; }));
    finishOpening();
    EXPECT_FALSE(test::isAlive(process));
    EXPECT_EQ(opened(), QStringList());
}

TEST_F(PermissionsTest, APromptThatNobodyAnswersIsGivenUp) {
    ManualClock clock;
    FakePlatform::instance().osascript = m_scratch.script(u"osascript"_s, "exec sleep 1000");
    const auto ended = std::make_shared<bool>(false);
    const auto kept = test::mark(Permissions::request(Permissions::all[2]), ended);
    clock.advance(Permissions::ANSWERING);
    ASSERT_TRUE(test::waitUntil([&] { return *ended; }));
    finishOpening();
    EXPECT_EQ(opened(), QStringList{pane(u"Privacy_Automation"_s)});
}

TEST_F(PermissionsTest, SettingsThatCannotBeOpenedAreInTheLog) {
    desktop()->openingURL = std::unexpected(Failure{u"workspace"_s, 1, u"there are no settings here"_s});
    Permissions::openSettings(Permissions::all[0]);
    finishOpening();
    ASSERT_EQ(FakePlatform::instance().logged.size(), 1u);
    EXPECT_EQ(FakePlatform::instance().logged[0].text, u"there are no settings here"_s);
    EXPECT_EQ(FakePlatform::instance().logged[0].level, LogLevel::error);
}

TEST_F(PermissionsTest, StartingAnewLeavesSomebodyBehindAndEndsTheProgram) {
    Loop::main().post([] { EXPECT_TRUE(Permissions::relaunch()); });
    const auto guard = Loop::main().after(std::chrono::seconds(60), [] { QCoreApplication::exit(1); });
    EXPECT_EQ(QCoreApplication::exec(), 0);
    EXPECT_EQ(desktop()->reopenings, 1);
}

TEST_F(PermissionsTest, AProgramThatCouldNotBeOpenedAgainDoesNotEnd) {
    const Failure failure{u"workspace"_s, 7, u"there is no shell"_s};
    desktop()->reopening = std::unexpected(failure);
    Loop::main().post([failure] { EXPECT_EQ(Permissions::relaunch(), Result<>(std::unexpected(failure))); });
    const auto later = Loop::main().after(std::chrono::milliseconds(1), [] { QCoreApplication::exit(7); });
    EXPECT_EQ(QCoreApplication::exec(), 7);
}
