// What the owner allows, from one look at a scripted computer.
#include "permissions/Allowed.h"

#include "base/Background.h"
#include "permissions/Permissions.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/Wait.h"

#include <atomic>

using namespace ombru;
using namespace Qt::StringLiterals;
using State = Permission::State;

namespace {

const QString EVENTS = u"com.apple.systemevents"_s;
const QString FINDER = u"com.apple.finder"_s;
const QString MAIL = u"com.apple.mail"_s;
const QString EDITOR = u"org.example.Editor"_s;
const QString OMBRU = u"com.ombru.mac"_s;

// Where an answer of the computer's hangs until it is let go.
class Stuck {
public:
    void wait() {
        m_reached = true;
        m_open.wait(false);
    }
    bool reached() const { return m_reached; }
    void letGo() {
        m_open = true;
        m_open.notify_all();
    }

private:
    std::atomic<bool> m_reached = false;
    std::atomic<bool> m_open = false;
};

class AllowedTest : public testing::Test {
protected:
    AllowedTest() {
        FakePlatform::reset();
        desktop()->applications[EVENTS] = {.name = u"System Events"_s};
        desktop()->applications[MAIL] = {.name = u"Mail"_s, .permission = AUTOMATION_UNDECIDED};
    }

    static Guarded<FakeDesktop> &desktop() { return FakePlatform::instance().desktop; }
    static Allowed look() { return test::await(lookAtAllowed({})); }

    // What it tells when the time of an answer that hangs at m_stuck is over.
    std::optional<Allowed> lookUntilGivenUp() {
        ManualClock clock;
        const auto result = std::make_shared<std::optional<Allowed>>();
        const auto kept = test::keep(lookAtAllowed({}), result);
        EXPECT_TRUE(test::waitUntil([&] { return m_stuck->reached(); }));
        clock.advance(Permissions::LIMIT);
        EXPECT_TRUE(test::waitUntil([&] { return result->has_value(); }));
        m_stuck->letGo();
        EXPECT_TRUE(finishBackground(std::chrono::minutes(1)));
        return *result;
    }

    const std::shared_ptr<Stuck> m_stuck = std::make_shared<Stuck>();
};

} // namespace

TEST_F(AllowedTest, OneLookTellsEverything) {
    desktop()->inputAllowed = false;
    desktop()->applications[EDITOR] = {.name = u"Writer's\nDesk.app"_s};
    desktop()->decisions = {{OMBRU, EDITOR, false, {}}, {OMBRU, u"org.example.Gone"_s, true, {}}};
    const auto allowed = look();
    EXPECT_EQ(allowed.permissions, (PermissionStates{{u"screen"_s, State::granted},
                                                     {u"accessibility"_s, State::missing},
                                                     {u"automation"_s, State::granted}}));
    EXPECT_EQ(allowed.applications, (PermissionStates{{EVENTS, State::granted}, {MAIL, State::unknown}}));
    ASSERT_EQ(allowed.others.size(), 2U);
    EXPECT_EQ(allowed.others[0].application.id, EDITOR);
    EXPECT_FALSE(allowed.others[0].application.name.contains(u'\n')) << "fit to be shown";
    EXPECT_EQ(allowed.others[0].state, State::missing);
    EXPECT_EQ(allowed.others[1], (AllowedApplication{{u"org.example.Gone"_s, u"org.example.Gone"_s}, State::granted}));
    EXPECT_EQ(allowed.problem, QString());
    EXPECT_TRUE(allowed.answered);
}

TEST_F(AllowedTest, TheUsualApplicationsComeFirstInTheirOrder) {
    desktop()->decisions = {{OMBRU, u"a.first"_s, true, {}}};
    QStringList ids;
    for (const auto &each : look().allApplications())
        ids.append(each.application.id);
    EXPECT_EQ(ids, (QStringList{EVENTS, MAIL, u"a.first"_s}));
}

TEST_F(AllowedTest, ADecisionAboutAUsualApplicationIsNoOther) {
    desktop()->applications[FINDER] = {.name = u"Files"_s};
    desktop()->consentIdentities[FINDER] = u"org.example.Files"_s;
    desktop()->decisions = {{OMBRU, u"org.example.Files"_s, false, {}}, {OMBRU, MAIL, true, {}}};
    const auto allowed = look();
    EXPECT_TRUE(allowed.others.empty());
    EXPECT_EQ(allowed.applications[FINDER], State::missing);
    EXPECT_EQ(allowed.applications[MAIL], State::granted);
}

TEST_F(AllowedTest, WhatOtherProgramsMayDoIsNotOurs) {
    desktop()->decisions = {{u"/usr/bin/other"_s, EDITOR, true, {}}, {u"/usr/bin/other"_s, MAIL, true, {}}};
    const auto allowed = look();
    EXPECT_TRUE(allowed.others.empty());
    EXPECT_EQ(allowed.applications[MAIL], State::unknown);
}

TEST_F(AllowedTest, ARecordThatCannotBeReadSaysWhyAndAllowsNothing) {
    desktop()->decisions = {{OMBRU, EDITOR, true, {}}, {OMBRU, MAIL, true, {}}};
    desktop()->consentFailure = Failure{u"consent"_s, 1, u"It is broken."_s};
    const auto allowed = look();
    EXPECT_EQ(allowed.problem, u"It is broken."_s);
    EXPECT_TRUE(allowed.others.empty());
    EXPECT_EQ(allowed.applications[MAIL], State::unknown);
    EXPECT_TRUE(allowed.answered);
}

TEST_F(AllowedTest, ThePermissionsAreToldBeforeTheApplicationsAreLookedAt) {
    std::vector<PermissionStates> told;
    QStringList before;
    const auto allowed = test::await(lookAtAllowed({}, [&](const PermissionStates &permissions) {
        told.push_back(permissions);
        before = copied(desktop()->determined);
    }));
    EXPECT_EQ(told, std::vector{allowed.permissions});
    EXPECT_EQ(before, QStringList{u"look "_s + EVENTS});
}

TEST_F(AllowedTest, AStopTellsNobody) {
    std::stop_source stop;
    stop.request_stop();
    bool told = false;
    test::await(lookAtAllowed(stop.get_token(), [&](const PermissionStates &) { told = true; }));
    EXPECT_FALSE(told);
    EXPECT_TRUE(finishBackground(std::chrono::minutes(1)));
}

TEST_F(AllowedTest, AComputerThatDoesNotAnswerIsAProblem) {
    desktop()->beforeDetermining = [stuck = m_stuck](const QString &id, bool) {
        if (id == MAIL)
            stuck->wait();
    };
    const auto result = lookUntilGivenUp();
    ASSERT_TRUE(result);
    EXPECT_FALSE(result->answered);
    EXPECT_EQ(result->problem, u"The computer did not answer in time."_s);
    EXPECT_EQ(result->permissions.size(), 3) << "they had been told";
}

// The list of all decisions is another question: when it stays unanswered, the usual applications are known.
TEST_F(AllowedTest, OtherDecisionsThatAreNotAnsweredHideNoUsualApplication) {
    desktop()->beforeListingDecisions = [stuck = m_stuck] { stuck->wait(); };
    const auto result = lookUntilGivenUp();
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->answered);
    EXPECT_EQ(result->applications, (PermissionStates{{EVENTS, State::granted}, {MAIL, State::unknown}}));
    EXPECT_TRUE(result->others.empty());
    EXPECT_EQ(result->problem, u"The computer did not answer in time."_s);
}
