#include "permissions/Permission.h"

#include "settings/Settings.h"

#include <QTemporaryDir>

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

TEST(Permission, StatesReadBackFromTheirNames) {
    const PermissionStates states{{u"com.apple.finder"_s, State::granted},
                                  {u"a \"quoted\", id; ö"_s, State::missing},
                                  {u"com.apple.mail"_s, State::unknown}};
    EXPECT_EQ(permissionStates(stateNames(states)), states);
    EXPECT_EQ(permissionStates({}), PermissionStates());
}

TEST(Permission, TheNamesAreWhatTheirSettingAllows) {
    const QTemporaryDir directory;
    Settings settings(directory.filePath(u"ombru.conf"_s));
    const PermissionStates states{{u"com.apple.finder"_s, State::granted},
                                  {u"a \"quoted\", id; ö"_s, State::missing},
                                  {u"com.apple.mail"_s, State::unknown}};
    ASSERT_TRUE(settings.appAutomation.write(stateNames(states)));
    EXPECT_EQ(permissionStates(settings.appAutomation()), states);
    ASSERT_TRUE(settings.appAutomation.write(stateNames({})));
    EXPECT_EQ(settings.appAutomation.text(), QString());
}

TEST(Permission, WhatIsNoStateCountsAsAbsent) {
    EXPECT_EQ(permissionStates({{u"a"_s, u"granted"_s}, {u"b"_s, u"maybe"_s}, {u"c"_s, u""_s}}),
              (PermissionStates{{u"a"_s, State::granted}}));
}
