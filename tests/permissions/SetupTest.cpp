#include "permissions/Setup.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using State = Permission::State;

namespace ombru {
static void PrintTo(Setup setup, std::ostream *out) {
    *out << setupName(setup).toStdString();
}
} // namespace ombru

namespace {

constexpr auto GRANTED = State::granted;
constexpr auto MISSING = State::missing;
constexpr auto UNKNOWN = State::unknown;
constexpr std::nullopt_t ABSENT = std::nullopt;
using Entry = std::optional<State>;

PermissionStates states(Entry screen, Entry accessibility, Entry automation) {
    PermissionStates result;
    if (screen)
        result[u"screen"_s] = *screen;
    if (accessibility)
        result[u"accessibility"_s] = *accessibility;
    if (automation)
        result[u"automation"_s] = *automation;
    return result;
}

const Claude::State READY = Claude::Ready{u"ann@example.org"_s};
const PermissionStates ALL = states(GRANTED, GRANTED, GRANTED);

struct Row {
    Entry accessibility;
    Entry screen;
    Entry automation;
    Setup before; // the screen was requested
    Setup after;
};

} // namespace

TEST(Setup, TheToolComesFirst) {
    for (const auto &permissions : {PermissionStates(), ALL, states(MISSING, MISSING, MISSING)}) {
        EXPECT_EQ(setup(Claude::Unknown{}, permissions, false), Setup::checking);
        EXPECT_EQ(setup(Claude::Missing{}, permissions, false), Setup::installClaude);
        EXPECT_EQ(setup(Claude::Outdated{{u"--tools"_s}}, permissions, false), Setup::installClaude);
        EXPECT_EQ(setup(Claude::SignedOut{}, permissions, false), Setup::signInClaude);
    }
}

TEST(Setup, NothingLookedAtYetIsBeingChecked) {
    EXPECT_EQ(setup(READY, {}, false), Setup::checking);
    EXPECT_EQ(setup(READY, {}, true), Setup::checking);
}

TEST(Setup, EverythingGrantedIsDone) {
    EXPECT_EQ(setup(READY, ALL, false), Setup::done);
    EXPECT_EQ(setup(Claude::Ready{}, ALL, true), Setup::done);
}

// Every state of every permission, asked for the screen or not.
TEST(Setup, TheTable) {
    std::vector<Row> rows;
    const Entry all[] = {GRANTED, MISSING, UNKNOWN, ABSENT};
    const Entry notGranted[] = {MISSING, UNKNOWN, ABSENT};
    for (const auto accessibility : notGranted)
        for (const auto screen : all)
            for (const auto automation : all)
                rows.push_back({accessibility, screen, automation, Setup::allow, Setup::allow});
    rows.push_back({GRANTED, GRANTED, GRANTED, Setup::done, Setup::done});
    rows.push_back({GRANTED, GRANTED, MISSING, Setup::denied, Setup::denied});
    rows.push_back({GRANTED, GRANTED, UNKNOWN, Setup::allow, Setup::allow});
    rows.push_back({GRANTED, GRANTED, ABSENT, Setup::allow, Setup::allow});
    for (const auto screen : notGranted) {
        rows.push_back({GRANTED, screen, GRANTED, Setup::allow, Setup::restart});
        rows.push_back({GRANTED, screen, MISSING, Setup::allow, Setup::denied});
        rows.push_back({GRANTED, screen, UNKNOWN, Setup::allow, Setup::allow});
        rows.push_back({GRANTED, screen, ABSENT, Setup::allow, Setup::allow});
    }
    ASSERT_EQ(rows.size(), 64u);
    for (const auto &row : rows) {
        const auto permissions = states(row.screen, row.accessibility, row.automation);
        if (permissions.isEmpty())
            continue; // nothing looked at yet: a test of its own
        const auto shown = stateNames(permissions).values().join(u' ').toStdString();
        EXPECT_EQ(setup(READY, permissions, false), row.before) << shown;
        EXPECT_EQ(setup(READY, permissions, true), row.after) << shown;
    }
}

TEST(Setup, AToolNotYetLookedAtIsNoReasonToWarn) {
    EXPECT_FALSE(missingPermissions(Claude::Unknown{}, ALL));
    EXPECT_FALSE(missingPermissions(READY, ALL));
}

TEST(Setup, AToolThatCannotBeUsedIs) {
    EXPECT_TRUE(missingPermissions(Claude::Missing{}, ALL));
    EXPECT_TRUE(missingPermissions(Claude::Outdated{{u"--tools"_s}}, ALL));
    EXPECT_TRUE(missingPermissions(Claude::SignedOut{}, ALL));
}

TEST(Setup, SoIsAnyPermissionThatIsNotGrantedOrNotLookedAt) {
    EXPECT_TRUE(missingPermissions(READY, {}));
    EXPECT_TRUE(missingPermissions(Claude::Unknown{}, {}));
    const Entry notGranted[] = {MISSING, UNKNOWN, ABSENT};
    for (const auto entry : notGranted) {
        EXPECT_TRUE(missingPermissions(READY, states(entry, GRANTED, GRANTED)));
        EXPECT_TRUE(missingPermissions(READY, states(GRANTED, entry, GRANTED)));
        EXPECT_TRUE(missingPermissions(READY, states(GRANTED, GRANTED, entry)));
    }
}

TEST(Setup, TheOwnerReads) {
    EXPECT_EQ(setupText(Setup::checking, false), u"Checking permissions…"_s);
    EXPECT_EQ(setupText(Setup::installClaude, false), u"Claude Code isn't installed"_s);
    EXPECT_EQ(setupText(Setup::signInClaude, false), u"Sign in to Claude Code"_s);
    EXPECT_EQ(setupText(Setup::allow, false), u"Allow permissions"_s);
    EXPECT_EQ(setupText(Setup::allow, true), u"Answer the prompts…"_s);
    EXPECT_EQ(setupText(Setup::restart, false), u"Restart ombru to finish"_s);
    EXPECT_EQ(setupText(Setup::denied, false), u"AppleScript was denied"_s);
    EXPECT_EQ(setupText(Setup::done, false), u"Full control is on"_s);
    EXPECT_EQ(setupText(Setup::done, true), u"Full control is on"_s);
}

TEST(Setup, IsOrderedFromTheFirstStepToTheLast) {
    const ombru::Setup order[] = {Setup::checking, Setup::installClaude, Setup::signInClaude, Setup::allow,
                                  Setup::restart,  Setup::denied,        Setup::done};
    EXPECT_TRUE(std::ranges::is_sorted(order));
}
