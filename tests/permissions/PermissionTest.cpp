#include "permissions/Permission.h"

#include "settings/Settings.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using State = Permission::State;

TEST(Permission, TheTableIsFixed) {
    const std::vector<Permission> table{
        {u"screen"_s, u"Screen Recording"_s,
         u"Lets Claude see your screen (screenshots) and lets callers hear your Mac's audio."_s, true,
         u"Privacy_ScreenCapture"_s},
        {u"accessibility"_s, u"Accessibility"_s, u"Lets Claude click, type and press keys for you."_s, true,
         u"Privacy_Accessibility"_s},
        {u"automation"_s, u"Automation"_s,
         u"Lets Claude script apps through System Events (the basis of most tasks)."_s, true, u"Privacy_Automation"_s},
    };
    EXPECT_EQ(Permissions::all, table);
}

TEST(Permission, StatesAreOrderedAndNamed) {
    EXPECT_LT(State::granted, State::missing);
    EXPECT_LT(State::missing, State::unknown);
    for (const auto &[state, name] :
         {std::pair(State::granted, u"granted"_s), {State::missing, u"missing"_s}, {State::unknown, u"unknown"_s}}) {
        EXPECT_EQ(stateName(state), name);
        EXPECT_EQ(stateNamed(name), state);
    }
    for (const auto &name : {u""_s, u"Granted"_s, u"granted "_s, u"denied"_s})
        EXPECT_EQ(stateNamed(name), std::nullopt) << name.toStdString();
}

TEST(Permission, StatesReadBackFromTheirText) {
    const PermissionStates states{{u"com.apple.finder"_s, State::granted},
                                  {u"a \"quoted\", id; ö"_s, State::missing},
                                  {u"com.apple.mail"_s, State::unknown}};
    EXPECT_EQ(permissionStates(toText(states)), states);
    EXPECT_EQ(toText({}), QString());
    EXPECT_EQ(permissionStates({}), PermissionStates());
}

TEST(Permission, TheTextIsWhatItsSettingAllows) {
    const auto *setting = findSetting(u"appAutomation"_s);
    ASSERT_TRUE(setting);
    for (const auto state : {State::granted, State::missing, State::unknown})
        EXPECT_TRUE(parseSetting(*setting, toText({{u"com.apple.finder"_s, state}})));
    EXPECT_TRUE(parseSetting(*setting, toText({})));
}

TEST(Permission, WhatIsNoStateCountsAsAbsent) {
    EXPECT_EQ(permissionStates(u"garbage"_s), PermissionStates());
    EXPECT_EQ(permissionStates(u"[\"granted\"]"_s), PermissionStates());
    EXPECT_EQ(permissionStates(u"{\"a\":\"granted\",\"b\":\"maybe\",\"c\":2}"_s),
              (PermissionStates{{u"a"_s, State::granted}}));
}
