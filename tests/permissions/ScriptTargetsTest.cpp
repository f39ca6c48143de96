// Which applications a script addresses, and which of them the owner has not allowed.
#include "base/Background.h"
#include "permissions/AppAutomation.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/PassTime.h"
#include "tests/support/Processes.h"
#include "tests/support/StandIn.h"

#include <atomic>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using AppAutomation::Mentions;
using AppAutomation::Refusal;
using AppAutomation::Target;

namespace {

const QString FINDER = u"com.apple.finder"_s;
const QString MAIL = u"com.apple.mail"_s;
const QString TELL_MAIL = u"tell application id \"com.apple.mail\" to activate"_s;

class ScriptTargets : public testing::Test {
protected:
    ScriptTargets() {
        FakePlatform::reset();
        FakePlatform::instance().osascript = m_scratch.path(u"osascript"_s);
        osascript.playAlways("case $2 in *Finder*) echo com.apple.finder;; *Mail*) echo ' com.apple.mail ';; "
                             "*) exit 1;; esac");
    }

    static Guarded<FakeDesktop> &desktop() { return FakePlatform::instance().desktop; }
    static void add(const QString &id, const FakeApplication &application) {
        desktop()->applications[id] = application;
    }
    static QStringList determined() { return copied(desktop()->determined); }
    static std::vector<Target> targets(const QString &script) { return test::await(AppAutomation::targets(script)); }
    static std::vector<Refusal> notAllowed(const QString &script) {
        return test::await(AppAutomation::notAllowed(script));
    }

    test::Scratch m_scratch;
    test::StandIn osascript{m_scratch.path(u"osascript"_s), m_scratch.path(u"asked"_s)};
};

} // namespace

TEST_F(ScriptTargets, MentionsAreEachOnceInOrderOfAppearance) {
    const auto found = AppAutomation::mentions(u"tell application \"Mail\"\n"
                                               "tell application   id\t\"com.b\" to quit\n"
                                               "tell application\n\"Finder\" to beep\n"
                                               "tell application id \"com.a\"\ntell application \"Mail\"\n"
                                               "tell application id \"com.b\""_s);
    EXPECT_EQ(found, (Mentions{{u"com.b"_s, u"com.a"_s}, {u"Mail"_s, u"Finder"_s}}));
}

TEST_F(ScriptTargets, SpacesOfAllKindsSeparateTheWords) {
    EXPECT_EQ(AppAutomation::mentions(u"application\u00a0\"Mail\""_s).names, QStringList{u"Mail"_s});
    EXPECT_EQ(AppAutomation::mentions(u"application\"Mail\" application \"\" application id\"a\""_s), Mentions());
}

TEST_F(ScriptTargets, OnlyTheWholeWordIsLookedFor) {
    EXPECT_EQ(AppAutomation::mentions(u"tell app \"Mail\" to quit\ntell application Mail\nreturn 1"_s), Mentions());
    EXPECT_EQ(AppAutomation::mentions({}), Mentions());
}

TEST_F(ScriptTargets, AnUnknownIdentifierIsItsOwnName) {
    add(MAIL, {u"Post.app"_s});
    EXPECT_EQ(targets(TELL_MAIL + u"\ntell application id \"org.none\" to quit"_s),
              (std::vector<Target>{{MAIL, u"Post"_s}, {u"org.none"_s, u"org.none"_s}}));
    EXPECT_EQ(osascript.calls(), 0);
}

TEST_F(ScriptTargets, ANameThatNoApplicationHasIsLeftOut) {
    EXPECT_EQ(targets(u"tell application \"Nothing\" to quit\ntell application \"Finder\" to beep"_s),
              (std::vector<Target>{{FINDER, u"Finder"_s}}));
}

TEST_F(ScriptTargets, IdentifiersComeBeforeNames) {
    add(MAIL, {u"Mail"_s});
    EXPECT_EQ(targets(u"tell application \"Finder\" to beep\n"_s + TELL_MAIL),
              (std::vector<Target>{{MAIL, u"Mail"_s}, {FINDER, u"Finder"_s}}));
}

TEST_F(ScriptTargets, OneApplicationAddressedBothWaysIsOneTarget) {
    add(FINDER, {u"Finder"_s});
    const auto script = u"tell application \"Finder\" to beep\ntell application id \"com.apple.finder\" to beep"_s;
    EXPECT_EQ(targets(script), (std::vector<Target>{{FINDER, u"Finder"_s}}));
    add(FINDER, {u"Files"_s});
    EXPECT_EQ(targets(script), (std::vector<Target>{{FINDER, u"Files"_s}, {FINDER, u"Finder"_s}}))
        << "with another name both stay";
}

TEST_F(ScriptTargets, AnIdentifierIsAskedForByName) {
    EXPECT_EQ(test::await(AppAutomation::bundleID(u"The \"Mail\""_s)), MAIL);
    EXPECT_EQ(osascript.arguments(1), (QStringList{u"-e"_s, u"id of application \"The Mail\""_s}));
}

TEST_F(ScriptTargets, AToolThatTellsNothingUsefulGivesNoIdentifier) {
    for (const auto *play : {"echo com.apple.mail; exit 1", "true", "echo '  '", R"(printf 'com.\377')",
                             "echo com.apple.mail >&2", "kill -9 $$"}) {
        osascript.playAlways(play);
        EXPECT_EQ(test::await(AppAutomation::bundleID(u"Mail"_s)), std::nullopt) << play;
    }
    osascript.playAlways("echo noise >&2; echo com.apple.mail");
    EXPECT_EQ(test::await(AppAutomation::bundleID(u"Mail"_s)), MAIL);
    FakePlatform::instance().osascript = u"/no/such/osascript"_s;
    EXPECT_EQ(test::await(AppAutomation::bundleID(u"Mail"_s)), std::nullopt);
}

TEST_F(ScriptTargets, AToolThatDoesNotAnswerIsEndedAfterFiveSeconds) {
    ManualClock clock;
    osascript.playAlways("echo $$ >\"$d/pid\"; exec sleep 1000");
    const auto id = std::make_shared<std::optional<std::optional<QString>>>();
    const auto kept = test::keep(AppAutomation::bundleID(u"Mail"_s), id);
    const auto pid = test::pidIn(m_scratch.path(u"asked/pid"_s));
    clock.advance(4999ms);
    test::settle();
    EXPECT_FALSE(id->has_value());
    EXPECT_TRUE(test::isAlive(pid));
    clock.advance(1ms);
    ASSERT_TRUE(test::waitUntil([&] { return id->has_value(); }));
    EXPECT_EQ(**id, std::nullopt);
    EXPECT_FALSE(test::isAlive(pid));
}

TEST_F(ScriptTargets, OnlyWhatIsRefusedOrUndecidedIsNotAllowed) {
    const std::pair<std::int32_t, std::vector<Refusal>> codes[] = {
        {AUTOMATION_ALLOWED, {}},
        {AUTOMATION_UNDECIDED, {{{MAIL, u"Mail"_s}, false}}},
        {AUTOMATION_REFUSED, {{{MAIL, u"Mail"_s}, true}}},
        {AUTOMATION_BAD_TARGET, {}},
        {-1712, {}},
    };
    for (const auto &[code, expected] : codes) {
        add(MAIL, {.name = u"Mail"_s, .permission = code});
        EXPECT_EQ(notAllowed(TELL_MAIL), expected) << code;
        EXPECT_EQ(determined().last(), u"look "_s + MAIL) << "the owner is not asked";
    }
}

TEST_F(ScriptTargets, AnUndecidedOneIsUnknownToThePanel) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    EXPECT_EQ(notAllowed(TELL_MAIL), (std::vector<Refusal>{{{MAIL, u"Mail"_s}, false}}));
    EXPECT_EQ(AppAutomation::states(), (PermissionStates{{MAIL, Permission::State::unknown}}));
}

TEST_F(ScriptTargets, TheRefusedOnesAreInTheOrderOfTheTargets) {
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED});
    add(FINDER, {.name = u"Finder"_s, .permission = AUTOMATION_REFUSED});
    EXPECT_EQ(notAllowed(u"tell application \"Finder\" to beep\n"_s + TELL_MAIL),
              (std::vector<Refusal>{{{MAIL, u"Mail"_s}, false}, {{FINDER, u"Finder"_s}, true}}));
}

TEST_F(ScriptTargets, AScriptThatAddressesNobodyIsAllowed) {
    EXPECT_EQ(notAllowed(u"return 6 * 7"_s), std::vector<Refusal>());
    EXPECT_EQ(determined(), QStringList());
}

TEST_F(ScriptTargets, WhatDoesNotRunIsStartedHiddenBeforeItIsJudged) {
    ManualClock clock;
    add(MAIL, {.name = u"Mail"_s, .running = false, .permission = AUTOMATION_REFUSED, .looksUntilItRuns = 2});
    const auto refusals = std::make_shared<std::optional<std::vector<Refusal>>>();
    const auto start = Clock::now();
    const auto kept = test::keep(AppAutomation::notAllowed(TELL_MAIL), refusals);
    ASSERT_TRUE(test::passTimeUntil(clock, [&] { return refusals->has_value(); }));
    EXPECT_EQ(**refusals, (std::vector<Refusal>{{{MAIL, u"Mail"_s}, true}}));
    const QStringList started = copied(desktop()->startedHidden);
    EXPECT_EQ(started, QStringList{MAIL});
    EXPECT_EQ(desktop()->looks, 3);
    EXPECT_EQ(determined(), QStringList(2, u"look "_s + MAIL));
    EXPECT_GE(Clock::now() - start, 2 * 100ms + 300ms);
}

TEST_F(ScriptTargets, WhatNeverRunsIsJudgedOnceMoreAndIsFine) {
    ManualClock clock;
    add(MAIL, {.name = u"Mail"_s, .running = false, .looksUntilItRuns = std::nullopt});
    const auto refusals = std::make_shared<std::optional<std::vector<Refusal>>>();
    const auto kept = test::keep(AppAutomation::notAllowed(TELL_MAIL), refusals);
    ASSERT_TRUE(test::passTimeUntil(clock, [&] { return refusals->has_value(); }));
    EXPECT_EQ(**refusals, std::vector<Refusal>());
    EXPECT_EQ(desktop()->looks, 50);
    EXPECT_EQ(determined(), QStringList(2, u"look "_s + MAIL));
}

TEST_F(ScriptTargets, WhatIsNotInstalledIsNotStarted) {
    EXPECT_EQ(notAllowed(TELL_MAIL), std::vector<Refusal>());
    EXPECT_EQ(desktop()->startedHidden.size(), 0);
    EXPECT_EQ(determined(), QStringList{u"look "_s + MAIL});
}

TEST_F(ScriptTargets, WhatRunsIsNotWaitedFor) {
    ManualClock clock; // a pause would never end
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_REFUSED});
    EXPECT_EQ(notAllowed(TELL_MAIL).size(), 1u);
    EXPECT_EQ(desktop()->startedHidden.size(), 0);
}

TEST_F(ScriptTargets, ASystemThatDoesNotAnswerLetsTheScriptRun) {
    ManualClock clock;
    add(MAIL, {.name = u"Mail"_s, .permission = AUTOMATION_REFUSED});
    const auto release = std::make_shared<std::atomic<bool>>(false);
    const auto asked = std::make_shared<std::atomic<bool>>(false);
    desktop()->beforeDetermining = [release, asked](const QString &, bool) {
        *asked = true;
        release->wait(false);
    };
    const auto refusals = std::make_shared<std::optional<std::vector<Refusal>>>();
    const auto kept = test::keep(AppAutomation::notAllowed(TELL_MAIL), refusals);
    ASSERT_TRUE(test::waitUntil([&] { return asked->load(); }));
    clock.advance(15s);
    ASSERT_TRUE(test::waitUntil([&] { return refusals->has_value(); }));
    EXPECT_EQ(**refusals, std::vector<Refusal>());
    *release = true;
    release->notify_all();
    EXPECT_TRUE(finishBackground(1min));
}

TEST_F(ScriptTargets, AStopEndsEachWaitAtOnce) {
    ManualClock clock; // no wait would end by itself
    add(MAIL, {.name = u"Mail"_s, .running = false, .looksUntilItRuns = std::nullopt});
    std::stop_source starting;
    const auto refusals = std::make_shared<std::optional<std::vector<Refusal>>>();
    const auto kept = test::keep(AppAutomation::notAllowed(TELL_MAIL, starting.get_token()), refusals);
    ASSERT_TRUE(test::waitUntil([] { return desktop()->looks == 1; }));
    starting.request_stop();
    ASSERT_TRUE(test::waitUntil([&] { return refusals->has_value(); }));

    osascript.playAlways("echo $$ >\"$d/pid\"; exec sleep 1000");
    std::stop_source naming;
    refusals->reset();
    const auto other = test::keep(
        AppAutomation::notAllowed(u"tell application \"A\"\ntell application \"B\""_s, naming.get_token()), refusals);
    const auto pid = test::pidIn(m_scratch.path(u"asked/pid"_s));
    naming.request_stop();
    ASSERT_TRUE(test::waitUntil([&] { return refusals->has_value(); }));
    EXPECT_FALSE(test::isAlive(pid));
    EXPECT_EQ(osascript.calls(), 1);
}
