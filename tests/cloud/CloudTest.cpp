#include "cloud/Cloud.h"

#include "tests/support/AccountService.h"
#include "tests/support/Wait.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::AccountReply;
using test::AccountRequest;
using test::AccountService;
using test::await;
using test::waitUntil;
using Manner = AccountReply::Manner;

namespace {

class CloudTest : public testing::Test {
protected:
    void replies(const AccountReply &reply) {
        service.answer = [reply](const AccountRequest &) { return reply; };
    }
    Result<QJsonObject> post(const QJsonObject &body = {}) {
        return await(cloud.post(service.base(), u"/api/device/start"_s, body, {}));
    }
    Result<std::optional<CloudConfig>> config(const QString &token = u"tok"_s) {
        return await(cloud.config(service.base(), token, {}));
    }

    AccountService service;
    Cloud cloud{{.userAgent = "ombru/1 (Fake; x)"}};
};

} // namespace

TEST_F(CloudTest, PostsAnObjectAndGivesTheObjectThatComesBack) {
    replies({.body = R"({"a": [1, "ä"]})"});
    EXPECT_EQ(post({{u"name"_s, u"Büro"_s}}), (QJsonObject{{u"a"_s, QJsonArray{1, u"ä"_s}}}));
    ASSERT_EQ(service.requests.size(), 1U);
    const auto &request = service.requests[0];
    EXPECT_EQ(request.line(), "POST /api/device/start HTTP/1.1");
    EXPECT_EQ(request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.header("User-Agent"), "ombru/1 (Fake; x)");
    EXPECT_EQ(request.header("Authorization"), QByteArray());
    EXPECT_EQ(request.body, R"({"name":"Büro"})");
}

TEST_F(CloudTest, APostCountsWhateverItsStatus) {
    for (const int status : {200, 201, 400, 401, 403, 404, 500, 503}) {
        replies({.status = status, .body = R"({"status": "ok"})"});
        EXPECT_EQ(post(), (QJsonObject{{u"status"_s, u"ok"_s}})) << status;
    }
}

TEST_F(CloudTest, OtherJsonIsAnEmptyObjectToAPost) {
    for (const auto *body : {"[1]", "[]", "null", "7", " \"text\"\n", "true"}) {
        replies({.body = body});
        EXPECT_EQ(post(), QJsonObject()) << body;
    }
}

TEST_F(CloudTest, WhatIsNoJsonIsAFailureOfBoth) {
    for (const auto *body : {"", "<html>", "{\"cut\":", "\xff"}) {
        replies({.body = body});
        EXPECT_FALSE(post()) << body;
        EXPECT_FALSE(config()) << body;
        EXPECT_EQ(post().error().domain, u"cloud"_s);
        EXPECT_FALSE(post().error().description.isEmpty());
    }
}

TEST_F(CloudTest, AsksForTheConfigurationWithTheToken) {
    replies({.body = R"({"email": "a@b", "trusted": true})"});
    const auto got = config(u"tökén"_s);
    ASSERT_TRUE(got && *got);
    EXPECT_EQ((*got)->email, u"a@b"_s);
    EXPECT_TRUE((*got)->trusted);
    const auto &request = service.requests.at(0);
    EXPECT_EQ(request.line(), "GET /api/device/config HTTP/1.1");
    EXPECT_EQ(request.header("Authorization"), "Bearer tökén");
    EXPECT_EQ(request.header("Content-Type"), QByteArray());
    EXPECT_EQ(request.body, QByteArray());
}

TEST_F(CloudTest, ARefusedTokenIsNoConfigurationAndNoFailure) {
    for (const auto &headers : {QByteArray(), QByteArray("WWW-Authenticate: Bearer\r\n"),
                                QByteArray("WWW-Authenticate: Basic realm=\"x\"\r\n")}) {
        replies({.status = 401, .body = R"({"email": "a@b"})", .headers = headers});
        const auto got = config();
        ASSERT_TRUE(got) << got.error().description.toStdString();
        EXPECT_FALSE(*got);
    }
    EXPECT_EQ(service.requests.size(), 3U) << "nothing is tried again";
}

TEST_F(CloudTest, AnyOtherStatusWithAnObjectIsAConfiguration) {
    for (const int status : {200, 400, 403, 404, 500, 503}) {
        replies({.status = status, .body = R"({"error": "down"})"});
        const auto got = config();
        ASSERT_TRUE(got && *got) << status;
        EXPECT_EQ(**got, CloudConfig()) << status;
    }
}

TEST_F(CloudTest, OtherJsonIsABadConfiguration) {
    for (const auto *body : {"[]", "[{}]", "null", "7", "\"text\""}) {
        replies({.body = body});
        EXPECT_EQ(config(), std::unexpected(Failure{u"cloud"_s, 1, u"bad response from "_s + service.base()})) << body;
    }
}

TEST_F(CloudTest, ATrailingSlashOfTheBaseIsSentAsItIs) {
    EXPECT_TRUE(await(cloud.config(service.base() + u'/', u"t"_s, {})));
    EXPECT_EQ(service.requests.at(0).line(), "GET //api/device/config HTTP/1.1");
    EXPECT_TRUE(await(cloud.post(service.base() + u"/base"_s, u"/api/x"_s, {}, {})));
    EXPECT_EQ(service.requests.at(1).line(), "POST /base/api/x HTTP/1.1");
}

TEST_F(CloudTest, AServiceThatIsNotThereIsAFailureInTheSystemsWords) {
    const auto got = await(cloud.config(u"http://127.0.0.1:1"_s, u"t"_s, {}));
    ASSERT_FALSE(got);
    EXPECT_TRUE(got.error().description.contains(u"127.0.0.1"_s)) << got.error().description.toStdString();
    EXPECT_FALSE(await(cloud.post(u"http://host.invalid"_s, u"/x"_s, {}, {})));
    EXPECT_FALSE(await(cloud.post(u"nonsense"_s, u"/x"_s, {}, {})));
}

TEST_F(CloudTest, AReplyThatBreaksOffIsAFailure) {
    replies({.body = R"({"email": "a@b", "trusted": true})", .manner = Manner::dropsMidway});
    EXPECT_FALSE(config());
    EXPECT_FALSE(post());
}

TEST_F(CloudTest, ASilentServiceIsGivenUpAfterAMinute) {
    ManualClock clock;
    replies({.manner = Manner::silence});
    const auto got = std::make_shared<std::optional<Result<std::optional<CloudConfig>>>>();
    const auto asking = test::keep(cloud.config(service.base(), u"t"_s, {}), got);
    ASSERT_TRUE(waitUntil([this] { return service.requests.size() == 1; }));
    clock.advance(59s);
    test::settle();
    EXPECT_FALSE(got->has_value());
    clock.advance(1s);
    ASSERT_TRUE(waitUntil([&] { return got->has_value(); }));
    ASSERT_FALSE(**got);
    EXPECT_EQ((**got).error().description, u"The request timed out."_s);
}

TEST_F(CloudTest, AStopEndsARequest) {
    replies({.manner = Manner::silence});
    std::stop_source stop;
    const auto got = std::make_shared<std::optional<Result<QJsonObject>>>();
    const auto asking = test::keep(cloud.post(service.base(), u"/x"_s, {}, stop.get_token()), got);
    ASSERT_TRUE(waitUntil([this] { return service.requests.size() == 1; }));
    stop.request_stop();
    ASSERT_TRUE(waitUntil([&] { return got->has_value(); }));
    EXPECT_FALSE(**got);
}

TEST_F(CloudTest, AReplyWithoutEndIsGivenUp) {
    replies({.body = QByteArray(20 << 20, ' ')});
    const auto got = config();
    ASSERT_FALSE(got);
    EXPECT_EQ(got.error().description, u"The reply is larger than anything the service has to say."_s);
}

TEST_F(CloudTest, ATokenGoesToNoOtherServer) {
    AccountService other;
    replies({.status = 302, .headers = "Location: " + other.base().toUtf8() + "/elsewhere\r\n"});
    EXPECT_TRUE(config());
    ASSERT_EQ(other.requests.size(), 1U) << "a redirection is followed";
    EXPECT_EQ(other.requests[0].header("Authorization"), QByteArray());
    replies({.status = 302, .headers = "Location: file:///etc/hostname\r\n"});
    EXPECT_FALSE(config());
    replies({.status = 302, .headers = "Location: /again\r\n"});
    EXPECT_FALSE(config()) << "not for ever";
}

TEST(CloudUserAgent, NamesProgramSystemAndArchitecture) {
    const auto agent = QString::fromUtf8(Cloud::userAgent());
    EXPECT_TRUE(QRegularExpression(u"^ombru/\\d+\\.\\d+\\S* \\(Fake; \\w+\\)$"_s).match(agent).hasMatch())
        << agent.toStdString();
}
