#include "base/Background.h"
#include "tests/controller/PermissionsFixture.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// --- Looking

TEST_F(PermissionsOfTheController, NothingIsKnownBeforeTheFirstLook) {
    EXPECT_EQ(state->permStates(), PermissionStates());
    EXPECT_EQ(state->appAutomation(), PermissionStates());
    EXPECT_FALSE(state->askedScreen);
    EXPECT_TRUE(state->blockedApps->isEmpty());
    EXPECT_FALSE(state->requestingApp());
    EXPECT_EQ(state->setup(), Setup::checking);
    EXPECT_TRUE(state->missingPermissions());
}

TEST_F(PermissionsOfTheController, ARefreshLooksAtEverything) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_REFUSED});
    refresh();
    EXPECT_EQ(state->permStates(), (PermissionStates{{u"screen"_s, State::granted},
                                                     {u"accessibility"_s, State::granted},
                                                     {u"automation"_s, State::granted}}));
    EXPECT_EQ(state->appAutomation(), (PermissionStates{{SYSTEM_EVENTS, State::granted}, {MAIL, State::missing}}));
    EXPECT_EQ(state->claude(), Claude::State(Claude::Ready{u"ann@example.org"_s}));
    EXPECT_EQ(state->setup(), Setup::done);
    EXPECT_FALSE(state->missingPermissions());
}

TEST_F(PermissionsOfTheController, ARefreshThatFindsNothingNewWakesNobody) {
    refresh();
    int changes = 0;
    const auto watched = state->onWillChange([&] { ++changes; });
    ASSERT_TRUE(QFile::remove(state->settings.file()));
    refresh();
    EXPECT_EQ(changes, 0);
    EXPECT_FALSE(QFile::exists(state->settings.file())) << "nothing is written either";
    desktop()->screenAllowed = false;
    refresh();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(state->permStates->value(u"screen"_s), State::missing);
}

TEST_F(PermissionsOfTheController, TheToolIsCheckedAgainAfterMoreThanFourSeconds) {
    ManualClock clock;
    refresh();
    const int first = claude.calls();
    EXPECT_EQ(first, 2) << "its help and its sign-in";
    clock.advance(4s);
    refresh();
    EXPECT_EQ(claude.calls(), first);
    claude.playAlways("echo '{\"loggedIn\":false}'");
    clock.advance(1ns);
    refresh();
    EXPECT_EQ(claude.calls(), first + 1);
    EXPECT_EQ(state->setup(), Setup::signInClaude);
    clock.advance(4s);
    refresh();
    EXPECT_EQ(claude.calls(), first + 1);
}

TEST_F(PermissionsOfTheController, AnOutdatedToolComesBeforeAllPermissions) {
    claude.playAlways("echo --print");
    refresh();
    EXPECT_EQ(state->setup(), Setup::installClaude);
    EXPECT_TRUE(state->missingPermissions());
}

TEST_F(PermissionsOfTheController, ARefreshThatRunsIsJoinedAndNotStartedTwice) {
    closeGate(SYSTEM_EVENTS);
    const auto ended = std::make_shared<bool>(false);
    const auto joined = std::make_shared<bool>(false);
    const auto alsoJoined = std::make_shared<bool>(false);
    const auto one = mark(state->refreshPermissions(), ended);
    const auto two = mark(state->refreshPermissions(), joined);
    ASSERT_TRUE(gateIsReached());
    const auto three = mark(state->refreshPermissions(), alsoJoined);
    settle();
    EXPECT_FALSE(*ended || *joined || *alsoJoined);
    openGate();
    ASSERT_TRUE(waitUntil([&] { return *ended && *joined && *alsoJoined; }));
    EXPECT_EQ(determined(SYSTEM_EVENTS).size(), 2) << "as a permission and as an application";
    refresh();
    EXPECT_EQ(determined(SYSTEM_EVENTS).size(), 4) << "the next one looks again";
}

TEST_F(PermissionsOfTheController, WhatTheSystemDoesNotTellIsUnknown) {
    ManualClock clock;
    add(MAIL, {u"Mail"_s});
    closeGate(SYSTEM_EVENTS);
    const auto ended = std::make_shared<bool>(false);
    const auto refreshing = mark(state->refreshPermissions(), ended);
    ASSERT_TRUE(gateIsReached());
    *waiting = false;
    clock.advance(Permissions::LIMIT);
    ASSERT_TRUE(gateIsReached()) << "the applications are looked at next";
    clock.advance(Permissions::LIMIT);
    ASSERT_TRUE(waitUntil([&] { return *ended; }));
    EXPECT_EQ(state->permStates(), (PermissionStates{{u"screen"_s, State::granted},
                                                     {u"accessibility"_s, State::granted},
                                                     {u"automation"_s, State::unknown}}));
    EXPECT_EQ(state->appAutomation(), PermissionStates()) << "stays as it was";
    EXPECT_EQ(state->setup(), Setup::allow);
}

TEST_F(PermissionsOfTheController, SystemEventsIsStartedForTheNextLook) {
    add(SYSTEM_EVENTS, {.name = u"System Events"_s, .running = false});
    refresh();
    EXPECT_EQ(state->permStates->value(u"automation"_s), State::unknown);
    EXPECT_EQ(state->setup(), Setup::allow);
    ASSERT_TRUE(waitUntil([] { return desktop()->startedHidden.contains(SYSTEM_EVENTS); }));
    refresh();
    EXPECT_EQ(state->setup(), Setup::done);
}

TEST_F(PermissionsOfTheController, RefusedAutomationIsDenied) {
    add(SYSTEM_EVENTS, {.name = u"System Events"_s, .permission = AUTOMATION_UNDECIDED});
    refresh();
    EXPECT_EQ(state->setup(), Setup::denied);
    EXPECT_EQ(state->appAutomation->value(SYSTEM_EVENTS), State::unknown) << "the two tell it differently";
}

TEST_F(PermissionsOfTheController, TheEndOfTheProgramEndsARefreshAndWritesNothing) {
    closeGate(SYSTEM_EVENTS);
    const auto ended = std::make_shared<bool>(false);
    const auto refreshing = mark(state->refreshPermissions(), ended);
    ASSERT_TRUE(gateIsReached());
    await(state->drain());
    EXPECT_TRUE(*ended) << "it is waited for";
    EXPECT_EQ(state->permStates(), PermissionStates());
    EXPECT_EQ(state->claude(), Claude::State(Claude::Unknown{}));
}

// --- What is kept from run to run

TEST_F(PermissionsOfTheController, TheApplicationsAreKnownAgainAfterARestart) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_REFUSED});
    add(NOTES, {.name = u"Notes"_s, .permission = AUTOMATION_UNDECIDED});
    refresh();
    const auto before = state->appAutomation();
    EXPECT_EQ(before.size(), 3);
    restart();
    EXPECT_EQ(state->appAutomation(), before);
    desktop()->applications.clear();
    refresh();
    restart();
    EXPECT_EQ(state->appAutomation(), PermissionStates());
}

TEST_F(PermissionsOfTheController, ApplicationsWrittenByHandThatAreNoneCountAsNone) {
    QFile file(state->settings.file());
    ASSERT_TRUE(file.open(QFile::WriteOnly | QFile::Truncate));
    file.write("[General]\nappAutomation=\"{\\\"com.apple.mail\\\":\\\"perhaps\\\"}\"\n");
    file.close();
    FakePlatform::instance().logged.clear();
    restart();
    test::settle();
    EXPECT_EQ(state->appAutomation(), PermissionStates());
    ASSERT_EQ(FakePlatform::instance().logged.size(), 1u);
    const auto line = FakePlatform::instance().logged[0].text;
    EXPECT_TRUE(
        line.startsWith(u"✗ appAutomation cannot be \"{\"com.apple.mail\":\"perhaps\"}\": it takes a JSON object"_s))
        << line.toStdString();
}

TEST_F(PermissionsOfTheController, ASettingsFileThatCannotBeWrittenIsReported) {
    ASSERT_TRUE(QFile::remove(state->settings.file()));
    ASSERT_TRUE(QDir().mkpath(state->settings.file()));
    refresh();
    EXPECT_EQ(state->appAutomation->size(), 1);
    EXPECT_TRUE(events.last().startsWith(u"warn: ✗ cannot write "_s)) << events.last().toStdString();
}
