#include "controller/MenuBarSymbol.h"

#include "tests/support/Wait.h"

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

const MenuBarState READY{.signedIn = true, .reachable = true, .listening = true};

QString after(void (*change)(MenuBarState &)) {
    auto state = READY;
    change(state);
    return menuBarSymbol(state);
}

} // namespace

TEST(MenuBarSymbol, ACallIsShownWhateverElseIsSo) {
    EXPECT_EQ(menuBarSymbol({.inCall = true}), u"phone.fill");
    EXPECT_EQ(menuBarSymbol({.inCall = true, .missingPermissions = true}), u"phone.fill");
    EXPECT_EQ(menuBarSymbol({.inCall = true, .busy = true}), u"phone.connection.fill");
}

TEST(MenuBarSymbol, OneThatTakesCallsIsReady) {
    EXPECT_EQ(menuBarSymbol(READY), u"phone");
    EXPECT_EQ(after([](MenuBarState &state) { state.busy = true; }), u"phone");
}

TEST(MenuBarSymbol, AMissingPermissionIsShownOnlyWhereCallsAreTaken) {
    EXPECT_EQ(after([](MenuBarState &state) { state.missingPermissions = true; }), u"phone.badge.exclamationmark");
    EXPECT_EQ(menuBarSymbol({.signedIn = true, .reachable = true, .missingPermissions = true}), u"phone.down");
}

TEST(MenuBarSymbol, WhereOneThingIsMissingForCallsItIsDown) {
    EXPECT_EQ(menuBarSymbol({}), u"phone.down");
    EXPECT_EQ(after([](MenuBarState &state) { state.signedIn = false; }), u"phone.down");
    EXPECT_EQ(after([](MenuBarState &state) { state.reachable = false; }), u"phone.down");
    EXPECT_EQ(after([](MenuBarState &state) { state.listening = false; }), u"phone.down");
    EXPECT_EQ(menuBarSymbol({.busy = true}), u"phone.down");
}
