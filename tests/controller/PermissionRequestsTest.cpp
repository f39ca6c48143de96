#include "base/Background.h"
#include "tests/controller/PermissionsFixture.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using PermissionRequests = PermissionsOfTheController;

// --- Asking for everything

TEST_F(PermissionRequests, EverythingThatIsNotGrantedIsAskedFor) {
    refuseEverything();
    refresh();
    EXPECT_EQ(state->setup(), Setup::allow);
    state->allowEverything();
    EXPECT_TRUE(state->askedScreen) << "before the prompt";
    ASSERT_TRUE(waitUntil([] { return opened().size() == 3; }));
    QStringList panes = opened();
    panes.sort();
    EXPECT_EQ(panes, (QStringList{pane(u"Privacy_Accessibility"_s), pane(u"Privacy_Automation"_s),
                                  pane(u"Privacy_ScreenCapture"_s)}));
    EXPECT_EQ(FakePlatform::instance().notificationPermissionRequests, 1);
    EXPECT_EQ(desktop()->screenRequests, 1);
    EXPECT_EQ(desktop()->inputRequests, 1);
    EXPECT_EQ(osascript.calls(), 1);
}

TEST_F(PermissionRequests, WhatIsGrantedIsNotAskedForAgain) {
    refresh();
    state->allowEverything();
    await(state->drain());
    EXPECT_EQ(FakePlatform::instance().notificationPermissionRequests, 1);
    EXPECT_FALSE(state->askedScreen);
    EXPECT_EQ(desktop()->screenRequests, 0);
    EXPECT_EQ(desktop()->inputRequests, 0);
    EXPECT_EQ(osascript.calls(), 0);
}

TEST_F(PermissionRequests, WhatHasNotBeenLookedAtIsAskedFor) {
    state->allowEverything();
    ASSERT_TRUE(waitUntil([this] { return osascript.calls() == 1; }));
    EXPECT_TRUE(state->askedScreen);
    EXPECT_EQ(desktop()->screenRequests, 1);
    EXPECT_EQ(desktop()->inputRequests, 1);
}

TEST_F(PermissionRequests, TheEndOfTheProgramAsksForNothingAfterTheScreen) {
    state->allowEverything();
    await(state->drain());
    ASSERT_TRUE(waitUntil([] { return desktop()->screenRequests == 1; }));
    EXPECT_EQ(desktop()->inputRequests, 0);
    EXPECT_EQ(osascript.calls(), 0);
    EXPECT_EQ(opened(), QStringList());
}

TEST_F(PermissionRequests, WhileEverythingIsAskedForItIsNotAskedForAgain) {
    refuseEverything();
    osascript.playAlways("touch \"$d/asking\"; while [ ! -e \"$d/answered\" ]; do sleep 0.02; done; exit 1");
    refresh();
    state->allowEverything();
    ASSERT_TRUE(waitUntil([this] { return QFile::exists(osascript.pathOf(u"asking"_s)); }));
    EXPECT_EQ(state->requestingApp(), u"System Events"_s);
    state->allowEverything();
    state->allowBlocked(MAIL_TARGET);
    osascript.file(u"answered"_s, "");
    ASSERT_TRUE(waitUntil([this] { return !state->requestingApp(); }));
    EXPECT_EQ(osascript.calls(), 1);
    EXPECT_EQ(desktop()->inputRequests, 1);
    EXPECT_EQ(determined(u"ask "_s), QStringList());
    state->allowEverything();
    EXPECT_TRUE(waitUntil([this] { return osascript.calls() == 2; })) << "once it is answered, again";
}

TEST_F(PermissionRequests, AScreenThatIsAskedForAndStillNotSeenNeedsARestart) {
    desktop()->screenAllowed = false;
    refresh();
    EXPECT_EQ(state->setup(), Setup::allow);
    state->allowEverything();
    refresh();
    EXPECT_EQ(state->setup(), Setup::restart);
    EXPECT_TRUE(state->missingPermissions());
    restart();
    EXPECT_FALSE(state->askedScreen) << "a new process has not asked";
}

// --- Asking for applications

TEST_F(PermissionRequests, ABlockedApplicationThatIsAllowedIsBlockedNoMore) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    add(NOTES, {.name = u"Notes"_s, .permission = AUTOMATION_REFUSED});
    reply({block(u"tell application id \"com.apple.mail\" to beep\ntell application id \"com.apple.Notes\" to beep"_s),
           u"DONE: ok"_s});
    runTask(u"go"_s);
    ASSERT_EQ(state->blockedApps(), (QList<Target>{MAIL_TARGET, {NOTES, u"Notes"_s}}));
    closeGate(MAIL);
    state->allowBlocked(MAIL_TARGET);
    EXPECT_EQ(state->requestingApp(), u"Mail"_s);
    ASSERT_TRUE(gateIsReached());
    EXPECT_EQ(state->requestingApp(), u"Mail"_s);
    openGate();
    ASSERT_TRUE(waitUntil([this] { return !state->requestingApp(); }));
    ASSERT_TRUE(waitUntil([this] { return state->blockedApps->size() == 1; }));
    EXPECT_EQ(state->blockedApps(), (QList<Target>{{NOTES, u"Notes"_s}}));
    EXPECT_EQ(determined(u"ask "_s), QStringList{u"ask "_s + MAIL});
    EXPECT_EQ(opened(), QStringList());
}

TEST_F(PermissionRequests, ABlockedApplicationThatIsRefusedOpensTheSettings) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_REFUSED});
    reply({block(u"tell application id \"com.apple.mail\" to beep"_s), u"DONE: ok"_s});
    runTask(u"go"_s);
    state->allowBlocked(MAIL_TARGET);
    ASSERT_TRUE(waitUntil([] { return opened() == QStringList{pane(u"Privacy_Automation"_s)}; }));
    EXPECT_FALSE(state->requestingApp());
    EXPECT_EQ(state->blockedApps(), QList<Target>{MAIL_TARGET});
}

TEST_F(PermissionRequests, ABlockedApplicationThatStaysUndecidedStaysBlocked) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED, .answer = AUTOMATION_UNDECIDED});
    reply({block(u"tell application id \"com.apple.mail\" to beep"_s), u"DONE: ok"_s});
    runTask(u"go"_s);
    state->allowBlocked(MAIL_TARGET);
    ASSERT_TRUE(waitUntil([this] { return !state->requestingApp(); }));
    await(state->drain());
    EXPECT_EQ(state->blockedApps(), QList<Target>{MAIL_TARGET});
    EXPECT_EQ(opened(), QStringList());
}

TEST_F(PermissionRequests, WhileOnePromptWaitsNoOtherIsShown) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    add(NOTES, {.name = u"Notes"_s, .permission = AUTOMATION_UNDECIDED});
    closeGate(MAIL);
    state->allowBlocked(MAIL_TARGET);
    ASSERT_TRUE(gateIsReached());
    state->allowBlocked({NOTES, u"Notes"_s});
    state->allowApps({NOTES});
    EXPECT_EQ(state->requestingApp(), u"Mail"_s);
    openGate();
    ASSERT_TRUE(waitUntil([this] { return !state->requestingApp(); }));
    state->allowBlocked({NOTES, u"Notes"_s});
    ASSERT_TRUE(waitUntil([this] { return !state->requestingApp(); }));
    EXPECT_EQ(determined(u"ask "_s), (QStringList{u"ask "_s + MAIL, u"ask "_s + NOTES}));
}

TEST_F(PermissionRequests, SeveralApplicationsAreAskedForOneByOneAndLookedAtAgain) {
    add(MAIL, {.name = u"Post"_s, .permission = AUTOMATION_UNDECIDED});
    add(NOTES, {.name = u"Notes"_s, .permission = AUTOMATION_UNDECIDED, .answer = AUTOMATION_REFUSED});
    add(u"org.other"_s, {.name = u"Other.app"_s, .permission = AUTOMATION_UNDECIDED});
    QStringList prompts;
    const auto watched = state->onWillChange([&] {
        if (state->requestingApp() && !prompts.contains(*state->requestingApp()))
            prompts.append(*state->requestingApp());
    });
    state->allowApps({MAIL, NOTES, u"org.other"_s, u"org.none"_s});
    // The refresh comes last and knows the installed candidates only.
    ASSERT_TRUE(waitUntil([this] { return state->permStates->size() == 3 && state->appAutomation->size() == 3; }));
    EXPECT_EQ(prompts, (QStringList{u"Mail"_s, u"Notes"_s, u"Other"_s, u"org.none"_s}));
    EXPECT_EQ(determined(u"ask "_s),
              (QStringList{u"ask "_s + MAIL, u"ask "_s + NOTES, u"ask org.other"_s, u"ask org.none"_s}));
    EXPECT_EQ(state->appAutomation(),
              (PermissionStates{{SYSTEM_EVENTS, State::granted}, {MAIL, State::granted}, {NOTES, State::missing}}));
    restart();
    EXPECT_EQ(state->appAutomation->value(NOTES), State::missing);
}

TEST_F(PermissionRequests, EachAnswerIsKeptBeforeTheNextPrompt) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    add(NOTES, {.name = u"Notes"_s, .permission = AUTOMATION_UNDECIDED});
    closeGate(NOTES);
    state->allowApps({MAIL, NOTES});
    ASSERT_TRUE(gateIsReached());
    restart();
    EXPECT_EQ(state->appAutomation(), (PermissionStates{{MAIL, State::granted}}));
}

TEST_F(PermissionRequests, ARefreshFromBeforeTheAnswerIsFollowedByAnother) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    closeGate(SYSTEM_EVENTS);
    const auto ended = std::make_shared<bool>(false);
    const auto early = mark(state->refreshPermissions(), ended);
    ASSERT_TRUE(gateIsReached());
    state->allowApps({MAIL});
    ASSERT_TRUE(waitUntil([this] { return state->appAutomation->contains(MAIL); }));
    openGate();
    ASSERT_TRUE(waitUntil([] { return determined(u"look "_s + MAIL).size() == 2; }));
    ASSERT_TRUE(*ended);
}

TEST_F(PermissionRequests, TheEndOfTheProgramDoesNotWaitForAnAnswer) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    closeGate(MAIL);
    state->allowApps({MAIL, NOTES});
    ASSERT_TRUE(gateIsReached());
    await(state->drain());
    EXPECT_FALSE(state->requestingApp());
    EXPECT_EQ(state->appAutomation(), PermissionStates());
}
