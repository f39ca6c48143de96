// Requests and the channel where the environment names a proxy. The hosts that are asked for exist nowhere.

#include "tests/support/Proxy.h"

#include "cloud/AgentClient.h"
#include "cloud/Cloud.h"
#include "tests/support/AccountService.h"
#include "tests/support/Certificates.h"
#include "tests/support/Variable.h"
#include "tests/support/Wait.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using test::AccountService;
using test::Authority;
using test::Proxy;
using test::Variable;
using test::waitUntil;

namespace {

class ProxyTest : public testing::Test {
protected:
    static Result<std::optional<CloudConfig>> ask(const QString &base, const QString &authority = {}) {
        return test::await(Cloud({.userAgent = "ombru/1", .authority = authority}).config(base, u"tok"_s, {}));
    }
    // Whether the service hears a hello.
    static bool opens(const AccountService &service, const QString &url, const QString &authority = {}) {
        AgentClient client({.url = QUrl(url), .token = u"tok"_s, .userAgent = "ombru/1", .authority = authority});
        client.start();
        const bool open = waitUntil([&] { return service.frameCount() == 1; });
        test::await(client.end());
        return open;
    }

    const Variable plain{"http_proxy"};
    const Variable encrypted{"https_proxy"};
    const Variable any{"all_proxy"};
    const Variable none{"no_proxy"};
};

} // namespace

TEST_F(ProxyTest, ARequestGoesByTheProxyOfTheEnvironment) {
    const AccountService service;
    const Proxy proxy(service.port());
    const Variable named("http_proxy", proxy.address());
    const auto got = ask(u"http://service.invalid"_s);
    EXPECT_TRUE(got && *got);
    EXPECT_EQ(proxy.asked, QByteArrayList{"GET http://service.invalid/api/device/config HTTP/1.1"});
    ASSERT_EQ(service.requests.size(), 1U);
    EXPECT_EQ(service.requests[0].header("Authorization"), "Bearer tok");
}

TEST_F(ProxyTest, SoDoesTheChannelThroughATunnel) {
    const AccountService service;
    const Proxy proxy(service.port());
    const Variable named("http_proxy", proxy.address());
    EXPECT_TRUE(opens(service, u"ws://service.invalid/agent"_s));
    ASSERT_EQ(proxy.asked.size(), 1);
    EXPECT_TRUE(proxy.asked[0].startsWith("CONNECT service.invalid:80 ")) << proxy.asked[0].toStdString();
}

TEST_F(ProxyTest, WhatIsEncryptedIsSoThroughTheProxy) {
    const Authority authority;
    const AccountService service(authority.certify("service.invalid"));
    const Proxy proxy(service.port());
    const Variable named("https_proxy", proxy.address());
    const auto got = ask(u"https://service.invalid"_s, authority.file());
    EXPECT_TRUE(got && *got);
    EXPECT_TRUE(opens(service, u"wss://service.invalid/agent"_s, authority.file()));
    ASSERT_EQ(proxy.asked.size(), 2);
    for (const auto &line : proxy.asked)
        EXPECT_TRUE(line.startsWith("CONNECT service.invalid:443 ")) << line.toStdString();
}

TEST_F(ProxyTest, AHostThatTheEnvironmentExceptsIsReachedDirectly) {
    const AccountService service;
    const Proxy proxy(service.port());
    const Variable named("http_proxy", proxy.address());
    const Variable except("no_proxy", "127.0.0.1");
    const auto got = ask(service.base());
    EXPECT_TRUE(got && *got);
    EXPECT_TRUE(opens(service, service.channelURL().toString()));
    EXPECT_EQ(proxy.asked, QByteArrayList());
}
