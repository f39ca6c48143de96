#include "permissions/AppAutomation.h"

#include "base/Background.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/PassTime.h"
#include "tests/support/Wait.h"

#include <QSet>

#include <atomic>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using State = Permission::State;

namespace {

const QString MAIL = u"com.apple.mail"_s;

class AppAutomationTest : public testing::Test {
protected:
    AppAutomationTest() { FakePlatform::reset(); }

    static Guarded<FakeDesktop> &desktop() { return FakePlatform::instance().desktop; }
    static void add(const QString &id, const FakeApplication &application) {
        desktop()->applications[id] = application;
    }
    static QStringList determined() { return copied(desktop()->determined); }
};

} // namespace

TEST_F(AppAutomationTest, TheCandidatesAreFixed) {
    const std::vector<AutomationApp> expected{
        {u"com.apple.systemevents"_s, u"System Events"_s},
        {u"com.apple.finder"_s, u"Finder"_s},
        {u"com.apple.Safari"_s, u"Safari"_s},
        {u"com.google.Chrome"_s, u"Google Chrome"_s},
        {u"com.apple.Terminal"_s, u"Terminal"_s},
        {u"com.apple.mail"_s, u"Mail"_s},
        {u"com.apple.MobileSMS"_s, u"Messages"_s},
        {u"com.apple.Notes"_s, u"Notes"_s},
        {u"com.apple.iCal"_s, u"Calendar"_s},
        {u"com.apple.reminders"_s, u"Reminders"_s},
        {u"com.apple.Music"_s, u"Music"_s},
        {u"com.apple.Photos"_s, u"Photos"_s},
        {u"com.apple.Preview"_s, u"Preview"_s},
        {u"com.microsoft.VSCode"_s, u"VS Code"_s},
    };
    EXPECT_EQ(AppAutomation::candidates, expected);
}

TEST_F(AppAutomationTest, TargetsAreEqualInBothFieldsOnly) {
    const QSet<AppAutomation::Target> targets{{u"a"_s, u"A"_s}, {u"a"_s, u"A"_s}, {u"a"_s, u"B"_s}, {u"b"_s, u"A"_s}};
    EXPECT_EQ(targets.size(), 3);
}

TEST_F(AppAutomationTest, InstalledAreTheKnownCandidatesInTheirOrder) {
    EXPECT_TRUE(AppAutomation::installed().empty());
    add(u"com.microsoft.VSCode"_s, {u"Visual Studio Code"_s});
    add(u"com.apple.finder"_s, {.name = u"Files"_s, .running = false});
    add(u"org.example.other"_s, {u"Other"_s});
    EXPECT_EQ(AppAutomation::installed(), (std::vector<AutomationApp>{{u"com.apple.finder"_s, u"Finder"_s},
                                                                      {u"com.microsoft.VSCode"_s, u"VS Code"_s}}));
}

TEST_F(AppAutomationTest, TheCheckAsksTheOwnerOnlyWhenToldTo) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED, .answer = AUTOMATION_REFUSED});
    EXPECT_EQ(AppAutomation::determine(MAIL, false), AUTOMATION_UNDECIDED);
    EXPECT_EQ(AppAutomation::determine(MAIL, true), AUTOMATION_REFUSED);
    EXPECT_EQ(AppAutomation::determine(MAIL, false), AUTOMATION_REFUSED);
    EXPECT_EQ(AppAutomation::determine({}, false), AUTOMATION_BAD_TARGET);
}

TEST_F(AppAutomationTest, WithoutARecordTheSystemIsAsked) {
    const std::pair<std::int32_t, State> codes[] = {{AUTOMATION_ALLOWED, State::granted},
                                                    {AUTOMATION_REFUSED, State::missing},
                                                    {AUTOMATION_UNDECIDED, State::unknown},
                                                    {AUTOMATION_BAD_TARGET, State::unknown},
                                                    {-1712, State::unknown}};
    for (const auto &[code, state] : codes) {
        add(MAIL, {.name = u"Mail"_s, .permission = code});
        EXPECT_EQ(AppAutomation::states(), (PermissionStates{{MAIL, state}})) << code;
    }
}

TEST_F(AppAutomationTest, LookingAtTheStatesStartsNothing) {
    add(MAIL, {.name = u"Mail"_s, .running = false});
    EXPECT_EQ(AppAutomation::states(), (PermissionStates{{MAIL, State::unknown}}));
    EXPECT_EQ(desktop()->startedHidden.size(), 0);
}

TEST_F(AppAutomationTest, ADisplayNameHasNoDotApp) {
    add(u"a"_s, {u"Text.app Edit.app"_s});
    EXPECT_EQ(AppAutomation::displayName(u"a"_s), u"Text Edit"_s);
    EXPECT_EQ(AppAutomation::displayName(u"b"_s), std::nullopt);
}

TEST_F(AppAutomationTest, ARequestShowsThePromptAndGivesItsAnswer) {
    const std::pair<std::int32_t, State> answers[] = {{AUTOMATION_ALLOWED, State::granted},
                                                      {AUTOMATION_REFUSED, State::missing},
                                                      {AUTOMATION_UNDECIDED, State::unknown}};
    for (const auto &[answer, state] : answers) {
        add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED, .answer = answer});
        EXPECT_EQ(test::await(AppAutomation::request(MAIL)), state) << answer;
        EXPECT_EQ(determined().last(), u"ask "_s + MAIL);
    }
    EXPECT_EQ(desktop()->startedHidden.size(), 0) << "it runs already";
}

TEST_F(AppAutomationTest, ARequestForAnUnknownApplicationStartsNothing) {
    EXPECT_EQ(test::await(AppAutomation::request(MAIL)), State::unknown);
    EXPECT_EQ(desktop()->startedHidden.size(), 0);
    EXPECT_EQ(determined(), QStringList{u"ask "_s + MAIL});
}

TEST_F(AppAutomationTest, ARequestStartsWhatDoesNotRunAndWaitsForIt) {
    ManualClock clock;
    add(MAIL, {.name = u"Mail"_s, .running = false, .looksUntilItRuns = 3});
    const auto state = std::make_shared<std::optional<State>>();
    const auto start = Clock::now();
    const auto kept = test::keep(AppAutomation::request(MAIL), state);
    ASSERT_TRUE(test::passTimeUntil(clock, [&] { return state->has_value(); }));
    EXPECT_EQ(**state, State::granted);
    EXPECT_EQ(desktop()->startedHidden.size(), 1);
    EXPECT_EQ(desktop()->looks, 1 + 4) << "one before it was opened";
    EXPECT_GE(Clock::now() - start, 3 * 100ms + 300ms);
}

TEST_F(AppAutomationTest, ARequestGivesWhatNeverRunsFiftyLooks) {
    ManualClock clock;
    add(MAIL, {.name = u"Mail"_s, .running = false, .looksUntilItRuns = std::nullopt});
    const auto state = std::make_shared<std::optional<State>>();
    const auto start = Clock::now();
    const auto kept = test::keep(AppAutomation::request(MAIL), state);
    ASSERT_TRUE(test::passTimeUntil(clock, [&] { return state->has_value(); }));
    EXPECT_EQ(**state, State::unknown);
    EXPECT_EQ(desktop()->looks, 1 + 50);
    EXPECT_EQ(determined(), QStringList{u"ask "_s + MAIL});
    EXPECT_GE(Clock::now() - start, 50 * 100ms + 300ms);
}

TEST_F(AppAutomationTest, ARequestThatIsCalledOffLeavesThePromptToItself) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    const auto release = std::make_shared<std::atomic<bool>>(false);
    const auto asking = std::make_shared<std::atomic<bool>>(false);
    desktop()->beforeDetermining = [release, asking](const QString &, bool) {
        *asking = true;
        release->wait(false);
    };
    std::stop_source stop;
    const auto state = std::make_shared<std::optional<State>>();
    const auto kept = test::keep(AppAutomation::request(MAIL, stop.get_token()), state);
    ASSERT_TRUE(test::waitUntil([&] { return asking->load(); }));
    stop.request_stop();
    ASSERT_TRUE(test::waitUntil([&] { return state->has_value(); }));
    EXPECT_EQ(**state, State::unknown);
    *release = true;
    release->notify_all();
    EXPECT_TRUE(finishBackground(1min));
}

TEST_F(AppAutomationTest, ARequestThatIsCalledOffDuringTheStartShowsNoPrompt) {
    ManualClock clock; // the start would never end by itself
    add(MAIL, {.name = u"Mail"_s, .running = false, .looksUntilItRuns = std::nullopt});
    std::stop_source stop;
    const auto state = std::make_shared<std::optional<State>>();
    const auto kept = test::keep(AppAutomation::request(MAIL, stop.get_token()), state);
    ASSERT_TRUE(test::waitUntil([] { return desktop()->looks == 2; }));
    stop.request_stop();
    ASSERT_TRUE(test::waitUntil([&] { return state->has_value(); }));
    EXPECT_EQ(**state, State::unknown);
    EXPECT_EQ(determined(), QStringList());
}

TEST_F(AppAutomationTest, TheSettingsOpenAtTheAutomationPane) {
    AppAutomation::openSettings();
    ASSERT_TRUE(test::waitUntil([] { return !desktop()->openedURLs.isEmpty(); }));
    EXPECT_EQ(desktop()->openedURLs.first(),
              u"x-apple.systempreferences:com.apple.preference.security?Privacy_Automation"_s);
}
