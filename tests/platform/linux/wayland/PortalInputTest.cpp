// The keyboard and pointer of a Wayland session, which a stand-in for the desktop portal lends. What it gives for the
// next time is in the real keyring.

#include "platform/linux/wayland/PortalInput.h"

#include "base/Background.h"
#include "platform/InputAccess.h"
#include "platform/SecretStore.h"
#include "tests/support/Keyring.h"
#include "tests/support/PortalStandIn.h"
#include "tests/support/SessionBus.h"
#include "tests/support/Wait.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using Manner = PortalStandIn::Manner;

namespace {

const QString TOKEN = u"remote-desktop-token"_s;
const QStringList WHOLE{u"CreateSession"_s, u"SelectDevices"_s, u"Start"_s};

class PortalInput : public testing::Test {
protected:
    static bool allowed() { return await(background(inputAllowed)); }
    static bool request() { return await(background(requestInput)); }
    static bool requestBriefly() {
        return await(background([] { return requestPortalInput(std::chrono::milliseconds(200)); }));
    }

    Variable m_wayland{"WAYLAND_DISPLAY", "wayland-0"};
    Variable m_type{"XDG_SESSION_TYPE", "wayland"};
    Variable m_display{"DISPLAY"};
    QTemporaryDir m_home;
    SessionBus m_bus;
    PortalStandIn m_portal{m_bus.address()};
    std::optional<Keyring> m_keyring{std::in_place, m_home};
};

} // namespace

TEST_F(PortalInput, IsAllowedOnceItsOwnerHasAgreed) {
    EXPECT_FALSE(allowed());
    EXPECT_EQ(m_portal.calls, QStringList()) << "looking must ask nobody";
    EXPECT_TRUE(request());
    EXPECT_EQ(m_portal.calls, WHOLE);
    const QVariantMap told = m_portal.told[u"SelectDevices"_s];
    EXPECT_EQ(told.value(u"types"_s).toUInt(), 3U);
    EXPECT_EQ(told.value(u"persist_mode"_s).toUInt(), 2U);
    EXPECT_FALSE(told.contains(u"restore_token"_s));
    EXPECT_EQ(m_portal.sessionsEnded, 1);
    EXPECT_EQ(secret(TOKEN), u"one"_s);
    EXPECT_TRUE(allowed());
    EXPECT_EQ(m_portal.calls, WHOLE);
}

TEST_F(PortalInput, WhatThePortalGaveIsHandedBackTheNextTime) {
    ASSERT_TRUE(request());
    m_portal.token = u"two"_s;
    EXPECT_TRUE(request());
    EXPECT_EQ(m_portal.told[u"SelectDevices"_s].value(u"restore_token"_s), u"one"_s);
    EXPECT_EQ(secret(TOKEN), u"two"_s);
    EXPECT_EQ(m_portal.sessionsEnded, 2);
}

TEST_F(PortalInput, ARefusalTakesThePermissionAway) {
    ASSERT_TRUE(request());
    m_portal.manner = Manner::cancels;
    EXPECT_FALSE(request());
    EXPECT_EQ(secret(TOKEN), std::nullopt);
    EXPECT_FALSE(allowed());
    EXPECT_EQ(m_portal.sessionsEnded, 2);
}

TEST_F(PortalInput, OneDeviceAloneIsARefusal) {
    ASSERT_TRUE(request());
    m_portal.devices = 1;
    EXPECT_FALSE(request());
    EXPECT_FALSE(allowed());
}

TEST_F(PortalInput, APortalThatForgetsGivesNoPermission) {
    m_portal.token = std::nullopt;
    EXPECT_FALSE(request());
    EXPECT_FALSE(allowed());
    EXPECT_EQ(m_portal.sessionsEnded, 1);
}

TEST_F(PortalInput, AnOwnerWhoDoesNotAnswerChangesNothing) {
    ASSERT_TRUE(request());
    m_portal.manner = Manner::neverAnswers;
    EXPECT_FALSE(requestBriefly());
    EXPECT_EQ(m_portal.sessionsEnded, 2);
    EXPECT_EQ(secret(TOKEN), u"one"_s);
    EXPECT_TRUE(allowed());
}

TEST_F(PortalInput, APortalThatDoesNotEvenReplyIsGivenUp) {
    m_portal.manner = Manner::neverReplies;
    EXPECT_FALSE(request());
    EXPECT_FALSE(allowed());
}

TEST_F(PortalInput, APortalThatFailsChangesNothing) {
    ASSERT_TRUE(request());
    m_portal.manner = Manner::fails;
    EXPECT_FALSE(request());
    EXPECT_EQ(secret(TOKEN), u"one"_s);
    m_portal.manner = Manner::refusesCalls;
    EXPECT_FALSE(request());
    EXPECT_EQ(secret(TOKEN), u"one"_s);
}

TEST_F(PortalInput, IsAllowedHoweverTheAnswerComes) {
    for (const Manner manner : {Manner::grantsEarly, Manner::ownPath}) {
        setSecret(TOKEN, std::nullopt);
        m_portal.manner = manner;
        EXPECT_TRUE(request());
    }
}

TEST_F(PortalInput, IsMissingWithoutAPortalThatLendsIt) {
    ASSERT_TRUE(request());
    m_portal.versions.erase(u"RemoteDesktop"_s);
    EXPECT_FALSE(allowed());
    EXPECT_FALSE(request());
    m_portal.leave();
    EXPECT_FALSE(allowed());
    EXPECT_FALSE(request());
    EXPECT_EQ(secret(TOKEN), u"one"_s);
}

TEST_F(PortalInput, IsMissingWhereNoSecretsAreKept) {
    m_keyring.reset();
    EXPECT_FALSE(request());
    EXPECT_FALSE(allowed());
}

TEST_F(PortalInput, APortalThatEndsWhileItsOwnerIsAskedIsARefusalAtOnce) {
    m_portal.manner = Manner::neverAnswers;
    auto request = background(requestInput);
    ASSERT_TRUE(waitUntil([&] { return m_portal.open() == 1; }));
    m_portal.leave();
    EXPECT_FALSE(await(std::move(request)));
}

TEST_F(PortalInput, LookingIsNotHeldUpByAnOpenQuestion) {
    m_portal.manner = Manner::neverAnswers;
    auto request = background(requestInput);
    ASSERT_TRUE(waitUntil([&] { return m_portal.open() == 1; }));
    EXPECT_FALSE(allowed());
    m_portal.answerOpen();
    EXPECT_TRUE(await(std::move(request)));
    EXPECT_TRUE(allowed());
}
