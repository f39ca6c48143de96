// The owner's recorded decisions beside what the system says.
#include "permissions/AppAutomation.h"
#include "platform/fake/FakePlatform.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using State = Permission::State;
using Decisions = QMap<QString, bool>;

namespace {

class DecisionsTest : public testing::Test {
protected:
    DecisionsTest() { FakePlatform::reset(); }

    static Guarded<FakeDesktop> &desktop() { return FakePlatform::instance().desktop; }
    static void record(const QString &application, bool allowed, const QString &client = u"com.ombru.mac"_s) {
        desktop()->decisions.push_back({client, application, allowed, {}});
    }
};

} // namespace

TEST_F(DecisionsTest, OnlyOurOwnCount) {
    record(u"com.apple.finder"_s, true);
    record(u"com.apple.mail"_s, true, u"org.other"_s);
    EXPECT_EQ(AppAutomation::tccDecisions(), (Decisions{{u"com.apple.finder"_s, true}}));
    desktop()->ownConsentClient = u"org.other"_s;
    EXPECT_EQ(AppAutomation::tccDecisions(), (Decisions{{u"com.apple.mail"_s, true}}));
}

// The owner must not read "allowed" where every script is refused.
TEST_F(DecisionsTest, ARecordThatTheSystemDoesNotDecideByGivesNoMap) {
    record(u"com.apple.finder"_s, true);
    desktop()->applications[u"com.apple.finder"_s] = {.name = u"Finder"_s, .permission = AUTOMATION_UNDECIDED};
    desktop()->consentFailure = Failure{u"consent"_s, 1, u"a newer ombru wrote it"_s};
    EXPECT_EQ(AppAutomation::tccDecisions(), std::nullopt);
    EXPECT_EQ(AppAutomation::states(), (PermissionStates{{u"com.apple.finder"_s, State::unknown}}));
}

TEST_F(DecisionsTest, WhatIsRecordedCountsWhateverThePermissionCheckSays) {
    desktop()->applications[u"com.apple.finder"_s] = {.name = u"Finder"_s, .permission = AUTOMATION_REFUSED};
    desktop()->applications[u"com.apple.mail"_s] = {.name = u"Mail"_s, .permission = AUTOMATION_ALLOWED};
    desktop()->applications[u"com.apple.Notes"_s] = {.name = u"Notes"_s, .permission = AUTOMATION_REFUSED};
    record(u"com.apple.finder"_s, true);
    record(u"com.apple.mail"_s, false);
    EXPECT_EQ(AppAutomation::states(), (PermissionStates{{u"com.apple.finder"_s, State::granted},
                                                         {u"com.apple.mail"_s, State::missing},
                                                         {u"com.apple.Notes"_s, State::missing}}));
    const QStringList determined = copied(desktop()->determined);
    EXPECT_EQ(determined, QStringList{u"look com.apple.Notes"_s}) << "one without a row is asked about";
}

TEST_F(DecisionsTest, AnApplicationsDecisionMayBeRecordedUnderAnotherIdentifier) {
    desktop()->applications[u"com.apple.finder"_s] = {.name = u"Files"_s, .permission = AUTOMATION_NOT_RUNNING};
    desktop()->consentIdentities[u"com.apple.finder"_s] = u"org.gnome.Nautilus"_s;
    record(u"org.gnome.Nautilus"_s, true);
    EXPECT_EQ(AppAutomation::states(), (PermissionStates{{u"com.apple.finder"_s, State::granted}}));
}
