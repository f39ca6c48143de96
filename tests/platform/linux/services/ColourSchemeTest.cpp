// What the desktop's owner wants, as a portal on a bus of the test's own tells it.

#include "platform/ColourScheme.h"

#include "base/Background.h"
#include "tests/support/PortalStandIn.h"
#include "tests/support/SessionBus.h"
#include "tests/support/Wait.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

using enum ColourScheme;
using Schemes = std::vector<ColourScheme>;

class ColourSchemes : public testing::Test {
protected:
    ~ColourSchemes() override { EXPECT_TRUE(finishBackground(std::chrono::minutes(1))); }

    bool tells(const Schemes &expected) {
        return waitUntil([&] { return told == expected; });
    }

    std::optional<SessionBus> bus{std::in_place};
    Schemes told;
    std::function<void(ColourScheme)> listen = [this](ColourScheme scheme) { told.push_back(scheme); };
};

} // namespace

TEST_F(ColourSchemes, WhatThePortalHasIsToldAndSoIsEachChange) {
    PortalStandIn portal(bus->address());
    portal.colourScheme = 1;
    const ColourSchemeWatch watch(listen);
    EXPECT_TRUE(tells({dark}));
    portal.setColourScheme(2);
    EXPECT_TRUE(tells({dark, light}));
    portal.setColourScheme(0);
    EXPECT_TRUE(tells({dark, light, unknown}));
    portal.setColourScheme(7);
    portal.setColourScheme(1);
    EXPECT_TRUE(tells({dark, light, unknown, dark})) << "what has no meaning is no wish";
}

TEST_F(ColourSchemes, APortalThatComesLateIsAsked) {
    std::optional<PortalStandIn> portal(std::in_place, bus->address()); // has nothing to tell
    const ColourSchemeWatch watch(listen);
    ASSERT_TRUE(waitUntil([&] { return portal->settingsRead == 1; }));
    portal.reset();
    portal.emplace(bus->address());
    portal->colourScheme = 1; // says nothing by itself
    EXPECT_TRUE(tells({dark}));
}

TEST_F(ColourSchemes, ABusThatWasRestartedIsHeardAgain) {
    const auto place = bus->directory();
    std::optional<PortalStandIn> portal(std::in_place, bus->address());
    portal->colourScheme = 1;
    const ColourSchemeWatch watch(listen);
    ASSERT_TRUE(tells({dark}));
    portal.reset();
    bus.reset();
    bus.emplace(place);
    portal.emplace(bus->address());
    portal->setColourScheme(2);
    EXPECT_TRUE(tells({dark, light}));
}

TEST_F(ColourSchemes, APortalThatHasNoSuchSettingTellsNothing) {
    PortalStandIn portal(bus->address());
    const ColourSchemeWatch watch(listen);
    portal.setColourScheme(0); // what comes before it is answered by then
    portal.setColourScheme(1);
    EXPECT_TRUE(tells({dark}));
}

TEST_F(ColourSchemes, WhoIsToldMayEndTheWatch) {
    PortalStandIn portal(bus->address());
    portal.colourScheme = 1;
    std::optional<ColourSchemeWatch> watch;
    watch.emplace([&](ColourScheme scheme) {
        told.push_back(scheme);
        watch.reset();
    });
    EXPECT_TRUE(tells({dark}));
    EXPECT_FALSE(watch);
}

TEST_F(ColourSchemes, WithoutABusNothingIsTold) {
    bus.reset();
    const Variable none("DBUS_SESSION_BUS_ADDRESS");
    const Variable nowhere("XDG_RUNTIME_DIR", "/nonexistent");
    const ColourSchemeWatch watch(listen);
    settle();
    EXPECT_TRUE(told.empty());
}
