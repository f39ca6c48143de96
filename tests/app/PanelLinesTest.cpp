#include "app/panel/PanelLines.h"

#include "tests/support/Wait.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using What = PanelAction::What;
using Weight = PanelButton::Weight;

namespace {

const AppAutomation::Target EDITOR{u"com.apple.TextEdit"_s, u"TextEdit"_s};

PanelState signedIn(const QString &email = u"owner@house.example"_s) {
    return {.auth = {Auth::SignedIn{email}}, .trusted = true, .setup = ombru::Setup::done};
}

PanelState ready() {
    auto state = signedIn();
    state.serverListening = true;
    state.agentConnected = true;
    return state;
}

PanelState with(PanelState state, void (*change)(PanelState &)) {
    change(state);
    return state;
}

QStringList textsOf(const std::vector<PanelButton> &buttons) {
    QStringList texts;
    for (const auto &button : buttons)
        texts += button.text;
    return texts;
}

PanelLine line(const QString &text, Severity severity) {
    return {.text = text, .severity = severity};
}

PanelLine setupOf(ombru::Setup setup) {
    return setupLine({.setup = setup});
}

} // namespace

// --- The status line

TEST(StatusLine, WhoIsSignedOutMaySignIn) {
    const auto shown = statusLine({.auth = {Auth::SignedOut{}}});
    EXPECT_EQ(shown.text, u"Not signed in");
    EXPECT_EQ(shown.severity, Severity::secondary);
    EXPECT_EQ(shown.buttons, (std::vector<PanelButton>{{u"Sign in with Google"_s, {What::signIn}, Weight::main}}));
}

TEST(StatusLine, WhileATokenIsLookedForItIsStarting) {
    EXPECT_EQ(statusLine({.auth = {Auth::Loading{}}}), line(u"Starting…"_s, Severity::secondary));
}

TEST(StatusLine, AnOutstandingCodeIsShownWithTheWaysOn) {
    const auto shown = statusLine({.auth = {Auth::Pairing{u"KTHR-4821"_s, QUrl(u"https://house.example/v"_s)}}});
    EXPECT_EQ(shown.text, u"Finish signing in in your browser");
    EXPECT_EQ(shown.code, u"KTHR-4821");
    EXPECT_EQ(shown.severity, Severity::secondary);
    EXPECT_EQ(shown.buttons, (std::vector<PanelButton>{
                                 {u"Open browser"_s, {What::openBrowser}, Weight::main},
                                 {u"Cancel"_s, {What::cancelSignIn}, Weight::plain, true, u"Cancel signing in"_s}}));
}

TEST(StatusLine, ACallNamesAllWhoAreInOne) {
    const auto shown = statusLine(with(ready(), [](PanelState &s) { s.activeCalls = {u"+1 555"_s, u"Ann"_s}; }));
    EXPECT_EQ(shown.text, u"On a call with +1 555, Ann");
    EXPECT_EQ(shown.severity, Severity::waiting);
}

TEST(StatusLine, ACallComesBeforeATask) {
    const auto shown = statusLine(with(ready(), [](PanelState &s) {
        s.busy = true;
        s.activeCalls = {u"Ann"_s};
    }));
    EXPECT_EQ(shown.text, u"On a call with Ann");
}

TEST(StatusLine, ATaskShowsItsStepFromTheFirst) {
    const auto at = [](int step) {
        auto state = ready();
        state.busy = true;
        state.step = step;
        return statusLine(state);
    };
    EXPECT_EQ(at(0).text, u"Working on a task");
    EXPECT_EQ(at(1).text, u"Working on a task · step 1");
    EXPECT_EQ(at(3).text, u"Working on a task · step 3");
    EXPECT_EQ(at(3).severity, Severity::waiting);
}

TEST(StatusLine, ATaskComesBeforeWhetherCallsAreLetThrough) {
    const auto shown = statusLine(with(ready(), [](PanelState &s) {
        s.trusted = false;
        s.busy = true;
    }));
    EXPECT_EQ(shown.text, u"Working on a task");
}

TEST(StatusLine, OneThatListensAndIsReachedIsReady) {
    EXPECT_EQ(statusLine(ready()), line(u"Ready for calls"_s, Severity::ready));
    const auto byRequests = with(ready(), [](PanelState &s) {
        s.agentConnected = false;
        s.cloudReachable = true;
    });
    EXPECT_EQ(statusLine(byRequests), line(u"Ready for calls"_s, Severity::ready));
}

TEST(StatusLine, OneThatListensAndIsNotReachedIsConnecting) {
    const auto state = with(ready(), [](PanelState &s) { s.agentConnected = false; });
    EXPECT_EQ(statusLine(state), line(u"Connecting to ombru…"_s, Severity::waiting));
}

TEST(StatusLine, AFailedServerNamesItsPort) {
    const auto state = with(signedIn(), [](PanelState &s) {
        s.serverStatus = u"✗ port 8765: in use"_s;
        s.callPort = 8765;
        s.agentConnected = true;
    });
    EXPECT_EQ(statusLine(state), line(u"Can't take calls — port 8765 is in use"_s, Severity::broken));
}

TEST(StatusLine, AServerThatHasSaidNothingYetIsConnecting) {
    EXPECT_EQ(statusLine(signedIn()), line(u"Connecting to ombru…"_s, Severity::waiting));
    const auto said = with(signedIn(), [](PanelState &s) { s.serverStatus = u"starting"_s; });
    EXPECT_EQ(statusLine(said), line(u"Connecting to ombru…"_s, Severity::waiting));
}

TEST(StatusLine, AFailureOfAnEarlierServerCountsNoMoreOnceItListens) {
    const auto state = with(ready(), [](PanelState &s) {
        s.agentConnected = false;
        s.serverStatus = u"✗ port 8765"_s;
    });
    EXPECT_EQ(statusLine(state).text, u"Connecting to ombru…");
}

TEST(StatusLine, WhereCallsAreNotLetThroughThatIsSaid) {
    const auto state = with(ready(), [](PanelState &s) { s.trusted = false; });
    EXPECT_EQ(statusLine(state), line(u"Signed in · calls don't reach this Mac yet"_s, Severity::secondary));
}

TEST(StatusLine, OfflineIsSignedInLikeAnyOther) {
    const auto state = with(ready(), [](PanelState &s) { s.auth = {Auth::SignedIn{Auth::OFFLINE}}; });
    EXPECT_EQ(statusLine(state).text, u"Ready for calls");
    EXPECT_EQ(textsOf(bottomButtons(state)), (QStringList{u"Sign out"_s, u"Quit"_s}));
}

// --- Ending what runs

TEST(StopButton, NothingRunsNothingIsToBeStopped) {
    EXPECT_FALSE(stopButton(ready()));
}

TEST(StopButton, ATaskIsStoppedAndACallByItselfIsHungUp) {
    auto state = ready();
    state.activeCalls = {u"Ann"_s};
    EXPECT_EQ(stopButton(state), (PanelButton{u"Hang up"_s, {What::hangUp}, Weight::halt}));
    state.busy = true;
    EXPECT_EQ(stopButton(state), (PanelButton{u"Stop"_s, {What::stop}, Weight::halt, true, u"Stop the task"_s}));
}

TEST(StopButton, OneThatWasPressedWaits) {
    const auto state = with(ready(), [](PanelState &s) { s.busy = s.cancelling = true; });
    EXPECT_EQ(stopButton(state), (PanelButton{u"Stopping…"_s, {What::stop}, Weight::halt, false}));
}

TEST(StopButton, StandsBesideTheStatusWhateverThatIs) {
    const auto working = [](PanelState &s) { s.busy = true; };
    EXPECT_EQ(textsOf(statusLine(with(ready(), working)).buttons), QStringList{u"Stop"_s});
    EXPECT_EQ(textsOf(statusLine(with({.auth = {Auth::SignedOut{}}}, working)).buttons),
              (QStringList{u"Sign in with Google"_s, u"Stop"_s}));
}

// --- The setup line

TEST(SetupLine, EachCaseHasItsTextItsColourAndItsWayOn) {
    const auto expect = [](ombru::Setup setup, const QString &text, Severity severity,
                           std::vector<PanelButton> buttons) {
        EXPECT_EQ(setupOf(setup), (PanelLine{.text = text, .severity = severity, .buttons = std::move(buttons)}))
            << text.toStdString();
    };
    expect(ombru::Setup::checking, u"Checking permissions…"_s, Severity::secondary, {});
    expect(ombru::Setup::installClaude, u"Claude Code isn't installed"_s, Severity::waiting,
           {{u"Install"_s, {What::installClaude}, Weight::plain, true, u"Install Claude Code"_s}});
    expect(ombru::Setup::signInClaude, u"Sign in to Claude Code"_s, Severity::waiting,
           {{u"Sign in"_s, {What::signInClaude}, Weight::plain, true, u"Sign in to Claude Code"_s}});
    expect(ombru::Setup::allow, u"Allow permissions"_s, Severity::waiting,
           {{u"Allow"_s, {What::allowEverything}, Weight::plain, true, u"Allow permissions"_s}});
    expect(ombru::Setup::restart, u"Restart ombru to finish"_s, Severity::waiting,
           {{u"Restart"_s, {What::restart}, Weight::plain, true, u"Restart ombru"_s}});
    expect(ombru::Setup::denied, u"AppleScript was denied"_s, Severity::broken,
           {{u"Open Settings"_s, {What::openAutomationSettings}}});
    expect(ombru::Setup::done, u"Full control is on"_s, Severity::ready, {});
}

TEST(SetupLine, WhileAPromptIsOpenThereIsNothingToPress) {
    const auto shown = setupLine({.setup = ombru::Setup::allow, .requestingApp = u"TextEdit"_s});
    EXPECT_EQ(shown.text, u"Answer the prompts…");
    EXPECT_TRUE(shown.buttons.empty());
}

TEST(SetupLine, APromptChangesNoOtherCase) {
    const auto shown = setupLine({.setup = ombru::Setup::denied, .requestingApp = u"TextEdit"_s});
    EXPECT_EQ(shown.text, u"AppleScript was denied");
    EXPECT_EQ(textsOf(shown.buttons), QStringList{u"Open Settings"_s});
}

// --- The applications

TEST(AutomationLines, EachBlockedApplicationMayBeAllowed) {
    const AppAutomation::Target finder{u"com.apple.finder"_s, u"Finder"_s};
    const auto lines = automationLines({.blockedApps = {EDITOR, finder}});
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].text, u"TextEdit isn't allowed yet");
    EXPECT_EQ(lines[0].buttons,
              (std::vector<PanelButton>{
                  {u"Allow"_s, {What::allowApplication, EDITOR}, Weight::plain, true, u"Allow TextEdit"_s}}));
    EXPECT_EQ(lines[1].text, u"Finder isn't allowed yet");
    EXPECT_EQ(lines[1].buttons.front().action.target, finder);
}

TEST(AutomationLines, TheOneWhosePromptIsOpenSaysSo) {
    const AppAutomation::Target finder{u"com.apple.finder"_s, u"Finder"_s};
    const auto lines = automationLines({.blockedApps = {EDITOR, finder}, .requestingApp = u"TextEdit"_s});
    EXPECT_EQ(lines[0].text, u"Answer the prompt for TextEdit");
    EXPECT_TRUE(lines[0].buttons.empty());
    EXPECT_EQ(lines[1].text, u"Finder isn't allowed yet");
    EXPECT_FALSE(lines[1].buttons.front().isEnabled) << "one question at a time";
}

TEST(AutomationLines, SystemEventsIsOfferedUntilItIsDecided) {
    const auto lines = automationLines({.undecidedSystemEvents = true, .blockedApps = {EDITOR}});
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1].text, u"System Events isn't allowed yet");
    EXPECT_EQ(lines[1].buttons.front().action.target.id, u"com.apple.systemevents");
    EXPECT_TRUE(automationLines({}).empty());
}

TEST(AutomationLines, SystemEventsStandsThereOnce) {
    const AppAutomation::Target systemEvents{u"com.apple.systemevents"_s, u"System Events"_s};
    EXPECT_EQ(automationLines({.undecidedSystemEvents = true, .blockedApps = {systemEvents}}).size(), 1U);
}

// --- All of it

TEST(PanelContent, TheLinesStandInTheirOrder) {
    auto state = ready();
    state.blockedApps = {EDITOR};
    state.failure = u"No terminal is installed."_s;
    QStringList texts;
    for (const auto &each : panelContent(state).lines)
        texts += each.text;
    EXPECT_EQ(texts, (QStringList{u"Ready for calls"_s, u"Full control is on"_s, u"TextEdit isn't allowed yet"_s,
                                  u"No terminal is installed."_s}));
}

TEST(PanelContent, WhoeverSignsInFindsThePageWithoutABrowserToo) {
    const auto lines = adviceLines({.auth = {Auth::Pairing{u"KTHR-4821"_s, QUrl(u"https://house.example/v?c=1"_s)}}});
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].text, u"If no browser opens, the page is https://house.example/v?c=1");
    EXPECT_EQ(lines[0].severity, Severity::secondary);
}

TEST(PanelContent, AFailedSignInSaysWhyAndWhatToDoUntilTheNextOne) {
    PanelState state{.auth = {Auth::SignedOut{}},
                     .signInFailure = u"Sign-in failed: Couldn't connect to server"_s,
                     .failedService = u"http://localhost:8787"_s};
    const auto lines = adviceLines(state);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].text, state.signInFailure);
    EXPECT_EQ(lines[0].severity, Severity::broken);
    EXPECT_TRUE(lines[1].text.startsWith(u"The service is expected at http://localhost:8787. "));
    EXPECT_TRUE(lines[1].text.endsWith(u" ombru sign-in --server ADDRESS"));
    state.failedService.clear();
    EXPECT_EQ(adviceLines(state).size(), 1U) << "a code that expired is no matter of the service";
    state.auth = {Auth::SignedIn{}};
    EXPECT_TRUE(adviceLines(state).empty());
}

TEST(PanelContent, SigningOutIsOfferedToWhoIsSignedIn) {
    EXPECT_EQ(textsOf(panelContent(ready()).bottom), (QStringList{u"Sign out"_s, u"Quit"_s}));
    for (const auto &auth : {Auth{Auth::SignedOut{}}, Auth{Auth::Loading{}}, Auth{Auth::Pairing{}}})
        EXPECT_EQ(textsOf(panelContent({.auth = auth}).bottom), QStringList{u"Quit"_s});
}
