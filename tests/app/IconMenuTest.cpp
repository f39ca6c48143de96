#include "app/lifecycle/IconMenu.h"

#include "tests/support/Wait.h"

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

QStringList textsOf(const PanelState &state) {
    QStringList texts;
    for (const auto &entry : iconMenu(state))
        texts += entry.text;
    return texts;
}

const QStringList ALWAYS{u"Open panel"_s, u"Show log"_s, u"Quit"_s};

} // namespace

TEST(IconMenu, WhileNothingRunsNothingIsToBeStopped) {
    EXPECT_EQ(textsOf({}), QStringList{u"Stop"_s} + ALWAYS);
    EXPECT_FALSE(iconMenu({}).front().isEnabled);
}

TEST(IconMenu, WhatEndsWhatRunsComesFirst) {
    EXPECT_EQ(textsOf({.busy = true}), QStringList{u"Stop"_s} + ALWAYS);
    EXPECT_EQ(textsOf({.activeCalls = {u"Ann"_s}, .busy = true}), QStringList{u"Stop"_s} + ALWAYS);
    EXPECT_EQ(textsOf({.activeCalls = {u"Ann"_s}}), QStringList{u"Hang up"_s} + ALWAYS);
    EXPECT_TRUE(iconMenu({.busy = true}).front().isEnabled);
}

TEST(IconMenu, WhatStopsATaskHangsNoCallUp) {
    EXPECT_EQ(iconMenu({.activeCalls = {u"Ann"_s}, .busy = true}).front().what, IconMenuEntry::What::stop);
    EXPECT_EQ(iconMenu({.activeCalls = {u"Ann"_s}}).front().what, IconMenuEntry::What::hangUp);
}

TEST(IconMenu, AStopThatWasChosenCannotBeChosenAgain) {
    const auto entries = iconMenu({.busy = true, .cancelling = true});
    EXPECT_EQ(entries.front().text, u"Stopping…");
    EXPECT_FALSE(entries.front().isEnabled);
}

TEST(IconTip, IsTheStatusOnOneLine) {
    EXPECT_EQ(iconTip({.auth = {Auth::SignedOut{}}}), u"ombru: Not signed in");
    const auto tip = iconTip({.auth = {Auth::SignedIn{u"me"_s}}, .activeCalls = {u"a\nb"_s}});
    EXPECT_FALSE(tip.contains(u'\n'));
}
