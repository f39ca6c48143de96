#include "base/KeyCombination.h"

#include "tests/support/Wait.h"

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

// As it is shown; "none" for what is no combination.
QString read(const QString &text) {
    const auto combination = KeyCombination::parsed(text);
    return combination ? combination->text() : u"none"_s;
}

} // namespace

TEST(KeyCombinationTest, ModifiersAndAKeyAreRead) {
    const KeyCombination expected{.control = true, .shift = true, .key = u"Escape"_s};
    EXPECT_EQ(KeyCombination::parsed(u"Ctrl+Shift+Escape"), expected);
    const KeyCombination others{.alt = true, .super = true, .key = u"PageUp"_s};
    EXPECT_EQ(KeyCombination::parsed(u"Super+Alt+PageUp"), others);
}

TEST(KeyCombinationTest, TheWayItIsWrittenDoesNotMatter) {
    EXPECT_EQ(read(u"shift + CTRL + escape"_s), u"Ctrl+Shift+Escape"_s);
    EXPECT_EQ(read(u"alt+s"_s), u"Alt+S"_s);
    EXPECT_EQ(read(u"super+F24"_s), u"Super+F24"_s);
    EXPECT_EQ(read(u"Ctrl+7"_s), u"Ctrl+7"_s);
}

TEST(KeyCombinationTest, AKeyThatNobodyWritesWithMayStandAlone) {
    for (const auto &text : {u"Pause"_s, u"F1"_s, u"Shift+Print"_s, u"ScrollLock"_s, u"Menu"_s})
        EXPECT_EQ(read(text), text);
}

TEST(KeyCombinationTest, AKeyThatPeopleWriteWithNeedsMoreThanShift) {
    for (const auto &text : {u"Escape"_s, u"Shift+Escape"_s, u"A"_s, u"Shift+A"_s, u"Space"_s, u"Shift+Return"_s})
        EXPECT_EQ(read(text), u"none"_s) << text.toStdString();
}

TEST(KeyCombinationTest, WhatIsNoCombinationIsNone) {
    for (const auto &text :
         {u""_s, u"Ctrl"_s, u"Ctrl+"_s, u"+Escape"_s, u"Ctrl+Shift"_s, u"Ctrl+Ctrl+A"_s, u"Hyper+A"_s, u"Ctrl+Alt+AB"_s,
          u"Ctrl+A+B"_s, u"A+Ctrl"_s, u"Ctrl+ä"_s, u"Ctrl+F0"_s, u"F25"_s, u"Ctrl++"_s, u"Ctrl+é"_s, u"Ctrl+F01"_s})
        EXPECT_EQ(read(text), u"none"_s) << text.toStdString();
}
