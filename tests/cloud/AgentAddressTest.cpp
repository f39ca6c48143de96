#include "cloud/AgentAddress.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

QString address(const QString &override, const QString &serverURL) {
    return agentAddress(override, serverURL).value_or(QUrl(u"none:"_s)).toString();
}

} // namespace

TEST(AgentAddress, IsAgentOnTheServicesHostInPlaceOfItsPath) {
    EXPECT_EQ(address({}, u"https://host/base"_s), u"wss://host/agent"_s);
    EXPECT_EQ(address({}, u"http://host:8080"_s), u"ws://host:8080/agent"_s);
    EXPECT_EQ(address({}, u"https://host:8443/a/b/?x=1&y"_s), u"wss://host:8443/agent?x=1&y"_s);
    EXPECT_EQ(address({}, u"http://localhost:8787/"_s), u"ws://localhost:8787/agent"_s);
    EXPECT_EQ(address({}, u"http://[::1]:1"_s), u"ws://[::1]:1/agent"_s);
}

TEST(AgentAddress, AnotherSchemeOrNoneIsTakenForAnEncryptedOne) {
    EXPECT_EQ(address({}, u"ftp://host"_s), u"wss://host/agent"_s);
    EXPECT_EQ(address({}, u"//host"_s), u"wss://host/agent"_s);
}

TEST(AgentAddress, AnAddressOfItsOwnIsUsedUnchanged) {
    EXPECT_EQ(address(u"ws://127.0.0.1:9/x?y=z#f"_s, u"https://host"_s), u"ws://127.0.0.1:9/x?y=z#f"_s);
    EXPECT_EQ(address(u"not an address"_s, u"https://host"_s), u"wss://host/agent"_s);
}

TEST(AgentAddress, WithoutAnAddressOfTheServiceThereIsNone) {
    EXPECT_EQ(agentAddress({}, u"http://a b"_s), std::nullopt);
    EXPECT_EQ(agentAddress({}, {}), std::nullopt);
}
