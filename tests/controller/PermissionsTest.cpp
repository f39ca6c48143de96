#include "permissions/Permissions.h"

#include "base/Background.h"
#include "tests/controller/LoopFixture.h"

#include <atomic>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using State = Permission::State;
using Target = AppAutomation::Target;

namespace {

const QString SYSTEM_EVENTS = u"com.apple.systemevents"_s;
const QString MAIL = u"com.apple.mail"_s;
const QString NOTES = u"com.apple.Notes"_s;
const Target MAIL_TARGET{MAIL, u"Mail"_s};

class PermissionsOfTheController : public test::LoopFixture {
protected:
    PermissionsOfTheController() {
        claude.playAlways("case $1 in --help) echo '" + Claude::requiredFlags.join(u' ').toUtf8() +
                          "';; auth) echo '{\"loggedIn\":true,\"email\":\"ann@example.org\"}';; esac");
        add(SYSTEM_EVENTS, {u"System Events"_s});
    }
    ~PermissionsOfTheController() override { openGate(); }

    static Guarded<FakeDesktop> &desktop() { return FakePlatform::instance().desktop; }
    static void add(const QString &id, const FakeApplication &application) {
        desktop()->applications[id] = application;
    }
    static QStringList determined(const QString &kind) { return QStringList(desktop()->determined).filter(kind); }
    static QStringList opened() { return copied(desktop()->openedURLs); }

    void refresh() { test::await(state->refreshPermissions()); }

    void restart() {
        test::await(state->drain());
        state = std::make_unique<AppState>();
    }

    // From now on the system's answers about that application wait until the gate is opened.
    void closeGate(const QString &id) {
        desktop()->beforeDetermining = [id, gate = gate, waiting = waiting](const QString &asked, bool) {
            if (asked != id)
                return;
            *waiting = true;
            gate->wait(false);
        };
    }
    bool gateIsReached() {
        return test::waitUntil([&] { return waiting->load(); });
    }
    void openGate() {
        *gate = true;
        gate->notify_all();
    }
    void refuseEverything() {
        desktop()->screenAllowed = desktop()->screenAnswer = false;
        desktop()->inputAllowed = desktop()->inputAnswer = false;
        add(SYSTEM_EVENTS, {.name = u"System Events"_s, .permission = AUTOMATION_REFUSED});
        osascript.playAlways("exit 1");
    }

    std::shared_ptr<std::atomic<bool>> gate = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<std::atomic<bool>> waiting = std::make_shared<std::atomic<bool>>(false);
};

QString pane(const QString &name) {
    return u"x-apple.systempreferences:com.apple.preference.security?"_s + name;
}

} // namespace

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
    const auto one = test::mark(state->refreshPermissions(), ended);
    const auto two = test::mark(state->refreshPermissions(), joined);
    ASSERT_TRUE(gateIsReached());
    const auto three = test::mark(state->refreshPermissions(), alsoJoined);
    test::settle();
    EXPECT_FALSE(*ended || *joined || *alsoJoined);
    openGate();
    ASSERT_TRUE(test::waitUntil([&] { return *ended && *joined && *alsoJoined; }));
    EXPECT_EQ(determined(SYSTEM_EVENTS).size(), 2) << "as a permission and as an application";
    refresh();
    EXPECT_EQ(determined(SYSTEM_EVENTS).size(), 4) << "the next one looks again";
}

TEST_F(PermissionsOfTheController, WhatTheSystemDoesNotTellIsUnknown) {
    ManualClock clock;
    add(MAIL, {u"Mail"_s});
    closeGate(SYSTEM_EVENTS);
    const auto ended = std::make_shared<bool>(false);
    const auto refreshing = test::mark(state->refreshPermissions(), ended);
    ASSERT_TRUE(gateIsReached());
    *waiting = false;
    clock.advance(Permissions::LIMIT);
    ASSERT_TRUE(gateIsReached()) << "the applications are looked at next";
    clock.advance(Permissions::LIMIT);
    ASSERT_TRUE(test::waitUntil([&] { return *ended; }));
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
    ASSERT_TRUE(test::waitUntil([] { return desktop()->startedHidden.contains(SYSTEM_EVENTS); }));
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
    const auto refreshing = test::mark(state->refreshPermissions(), ended);
    ASSERT_TRUE(gateIsReached());
    test::await(state->drain());
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

// --- Asking for everything

TEST_F(PermissionsOfTheController, EverythingThatIsNotGrantedIsAskedFor) {
    refuseEverything();
    refresh();
    EXPECT_EQ(state->setup(), Setup::allow);
    state->allowEverything();
    EXPECT_TRUE(state->askedScreen) << "before the prompt";
    ASSERT_TRUE(test::waitUntil([] { return opened().size() == 3; }));
    QStringList panes = opened();
    panes.sort();
    EXPECT_EQ(panes, (QStringList{pane(u"Privacy_Accessibility"_s), pane(u"Privacy_Automation"_s),
                                  pane(u"Privacy_ScreenCapture"_s)}));
    EXPECT_EQ(FakePlatform::instance().notificationPermissionRequests, 1);
    EXPECT_EQ(desktop()->screenRequests, 1);
    EXPECT_EQ(desktop()->inputRequests, 1);
    EXPECT_EQ(osascript.calls(), 1);
}

TEST_F(PermissionsOfTheController, WhatIsGrantedIsNotAskedForAgain) {
    refresh();
    state->allowEverything();
    test::await(state->drain());
    EXPECT_EQ(FakePlatform::instance().notificationPermissionRequests, 1);
    EXPECT_FALSE(state->askedScreen);
    EXPECT_EQ(desktop()->screenRequests, 0);
    EXPECT_EQ(desktop()->inputRequests, 0);
    EXPECT_EQ(osascript.calls(), 0);
}

TEST_F(PermissionsOfTheController, WhatHasNotBeenLookedAtIsAskedFor) {
    state->allowEverything();
    ASSERT_TRUE(test::waitUntil([this] { return osascript.calls() == 1; }));
    EXPECT_TRUE(state->askedScreen);
    EXPECT_EQ(desktop()->screenRequests, 1);
    EXPECT_EQ(desktop()->inputRequests, 1);
}

TEST_F(PermissionsOfTheController, TheEndOfTheProgramAsksForNothingAfterTheScreen) {
    state->allowEverything();
    test::await(state->drain());
    ASSERT_TRUE(test::waitUntil([] { return desktop()->screenRequests == 1; }));
    EXPECT_EQ(desktop()->inputRequests, 0);
    EXPECT_EQ(osascript.calls(), 0);
    EXPECT_EQ(opened(), QStringList());
}

TEST_F(PermissionsOfTheController, AScreenThatIsAskedForAndStillNotSeenNeedsARestart) {
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

TEST_F(PermissionsOfTheController, ABlockedApplicationThatIsAllowedIsBlockedNoMore) {
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
    ASSERT_TRUE(test::waitUntil([this] { return !state->requestingApp(); }));
    ASSERT_TRUE(test::waitUntil([this] { return state->blockedApps->size() == 1; }));
    EXPECT_EQ(state->blockedApps(), (QList<Target>{{NOTES, u"Notes"_s}}));
    EXPECT_EQ(determined(u"ask "_s), QStringList{u"ask "_s + MAIL});
    EXPECT_EQ(opened(), QStringList());
}

TEST_F(PermissionsOfTheController, ABlockedApplicationThatIsRefusedOpensTheSettings) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_REFUSED});
    reply({block(u"tell application id \"com.apple.mail\" to beep"_s), u"DONE: ok"_s});
    runTask(u"go"_s);
    state->allowBlocked(MAIL_TARGET);
    ASSERT_TRUE(test::waitUntil([] { return opened() == QStringList{pane(u"Privacy_Automation"_s)}; }));
    EXPECT_FALSE(state->requestingApp());
    EXPECT_EQ(state->blockedApps(), QList<Target>{MAIL_TARGET});
}

TEST_F(PermissionsOfTheController, ABlockedApplicationThatStaysUndecidedStaysBlocked) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED, .answer = AUTOMATION_UNDECIDED});
    reply({block(u"tell application id \"com.apple.mail\" to beep"_s), u"DONE: ok"_s});
    runTask(u"go"_s);
    state->allowBlocked(MAIL_TARGET);
    ASSERT_TRUE(test::waitUntil([this] { return !state->requestingApp(); }));
    test::await(state->drain());
    EXPECT_EQ(state->blockedApps(), QList<Target>{MAIL_TARGET});
    EXPECT_EQ(opened(), QStringList());
}

TEST_F(PermissionsOfTheController, WhileOnePromptWaitsNoOtherIsShown) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    add(NOTES, {.name = u"Notes"_s, .permission = AUTOMATION_UNDECIDED});
    closeGate(MAIL);
    state->allowBlocked(MAIL_TARGET);
    ASSERT_TRUE(gateIsReached());
    state->allowBlocked({NOTES, u"Notes"_s});
    state->allowApps({NOTES});
    EXPECT_EQ(state->requestingApp(), u"Mail"_s);
    openGate();
    ASSERT_TRUE(test::waitUntil([this] { return !state->requestingApp(); }));
    state->allowBlocked({NOTES, u"Notes"_s});
    ASSERT_TRUE(test::waitUntil([this] { return !state->requestingApp(); }));
    EXPECT_EQ(determined(u"ask "_s), (QStringList{u"ask "_s + MAIL, u"ask "_s + NOTES}));
}

TEST_F(PermissionsOfTheController, SeveralApplicationsAreAskedForOneByOneAndLookedAtAgain) {
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
    ASSERT_TRUE(
        test::waitUntil([this] { return state->permStates->size() == 3 && state->appAutomation->size() == 3; }));
    EXPECT_EQ(prompts, (QStringList{u"Mail"_s, u"Notes"_s, u"Other"_s, u"org.none"_s}));
    EXPECT_EQ(determined(u"ask "_s),
              (QStringList{u"ask "_s + MAIL, u"ask "_s + NOTES, u"ask org.other"_s, u"ask org.none"_s}));
    EXPECT_EQ(state->appAutomation(),
              (PermissionStates{{SYSTEM_EVENTS, State::granted}, {MAIL, State::granted}, {NOTES, State::missing}}));
    restart();
    EXPECT_EQ(state->appAutomation->value(NOTES), State::missing);
}

TEST_F(PermissionsOfTheController, EachAnswerIsKeptBeforeTheNextPrompt) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    add(NOTES, {.name = u"Notes"_s, .permission = AUTOMATION_UNDECIDED});
    closeGate(NOTES);
    state->allowApps({MAIL, NOTES});
    ASSERT_TRUE(gateIsReached());
    restart();
    EXPECT_EQ(state->appAutomation(), (PermissionStates{{MAIL, State::granted}}));
}

TEST_F(PermissionsOfTheController, ARefreshFromBeforeTheAnswerIsFollowedByAnother) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    closeGate(SYSTEM_EVENTS);
    const auto ended = std::make_shared<bool>(false);
    const auto early = test::mark(state->refreshPermissions(), ended);
    ASSERT_TRUE(gateIsReached());
    state->allowApps({MAIL});
    ASSERT_TRUE(test::waitUntil([this] { return state->appAutomation->contains(MAIL); }));
    openGate();
    ASSERT_TRUE(test::waitUntil([] { return determined(u"look "_s + MAIL).size() == 2; }));
    ASSERT_TRUE(*ended);
}

TEST_F(PermissionsOfTheController, TheEndOfTheProgramDoesNotWaitForAnAnswer) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    closeGate(MAIL);
    state->allowApps({MAIL, NOTES});
    ASSERT_TRUE(gateIsReached());
    test::await(state->drain());
    EXPECT_FALSE(state->requestingApp());
    EXPECT_EQ(state->appAutomation(), PermissionStates());
}
