// What the privacy settings show.
#include "app/privacy/PrivacyText.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using State = Permission::State;

TEST(PrivacyText, FindsThePageOfAnAnchor) {
    EXPECT_EQ(permissionAt(u"Privacy_ScreenCapture"_s)->id, u"screen"_s);
    EXPECT_EQ(permissionAt(u"Privacy_Accessibility"_s)->id, u"accessibility"_s);
    EXPECT_EQ(permissionAt(u"Privacy_Automation"_s)->id, u"automation"_s);
    EXPECT_FALSE(permissionAt(u"Privacy_Nonsense"_s));
    EXPECT_FALSE(permissionAt({}));
}

TEST(PrivacyText, WhatIsNotGrantedCanBeAskedFor) {
    const auto rows = permissionRows({{u"screen"_s, State::granted}, {u"accessibility"_s, State::missing}}, {});
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[0].state, u"Granted"_s);
    EXPECT_FALSE(rows[0].canAsk);
    EXPECT_EQ(rows[1].state, u"Not granted"_s);
    EXPECT_TRUE(rows[1].canAsk);
    EXPECT_EQ(rows[2].state, u"Not known"_s);
    EXPECT_TRUE(rows[2].canAsk);
}

TEST(PrivacyText, WhatIsBeingAskedForCannotBeAskedForAgain) {
    const auto rows = permissionRows({{u"screen"_s, State::missing}}, {u"screen"_s});
    EXPECT_FALSE(rows[0].canAsk);
    EXPECT_EQ(rows[0].button, u"Answer the prompt…"_s);
}

TEST(PrivacyText, ADecisionNamesTheProgramAndTheApplication) {
    const auto rows = decisionRows({{u"/usr/bin/xterm"_s, u"org.example.Editor"_s, true, {}},
                                    {u"com.ombru.mac"_s, u"org.example.Gone"_s, false, QDateTime::currentDateTime()}},
                                   {{u"com.ombru.mac"_s, u"ombru"_s}, {u"org.example.Editor"_s, u"Writer's Desk"_s}});
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].program, u"xterm"_s);
    EXPECT_EQ(rows[0].programPlace, u"/usr/bin/xterm"_s);
    EXPECT_EQ(rows[0].target, u"Writer's Desk"_s);
    EXPECT_EQ(rows[0].decision, u"Allowed"_s);
    EXPECT_EQ(rows[0].time, u"–"_s);
    EXPECT_EQ(rows[1].program, u"ombru"_s);
    EXPECT_EQ(rows[1].target, u"org.example.Gone"_s);
    EXPECT_EQ(rows[1].decision, u"Refused"_s);
    EXPECT_NE(rows[1].time, u"–"_s);
}

TEST(PrivacyText, NamesFromElsewhereAreHarmlessButTheDecisionStaysTheSame) {
    const QString client = u"/tmp/a\n\u202Eb"_s;
    const auto rows = decisionRows({{client, u"org.example.Evil"_s, true, {}}}, {{u"org.example.Evil"_s, u"x\ny"_s}});
    EXPECT_EQ(rows[0].client, client);
    EXPECT_EQ(rows[0].program, u"a«U+000A»«U+202E»b"_s);
    EXPECT_EQ(rows[0].target, u"x«U+000A»y"_s);
}
