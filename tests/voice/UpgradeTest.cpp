#include "voice/Upgrade.h"

#include "tests/support/Wait.h"

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

constexpr auto WRONG_KIND = "HTTP/1.1 426 Upgrade Required\r\nContent-Length: 0\r\n\r\n";
constexpr auto NOT_ALLOWED = "HTTP/1.1 401 Unauthorized\r\nContent-Length: 0\r\n\r\n";

// The key and the answer to it are those of RFC 6455, 1.3.
constexpr auto KEY = "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==";
constexpr auto WELCOME = "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                         "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n";

QByteArray reply(const QByteArrayList &lines, const QString &token = u"abc"_s) {
    const auto reply = replyToUpgrade(parseHead(lines.join("\r\n")), token, {u"/"_s, u"/media"_s});
    EXPECT_EQ(reply.accepted, reply.bytes.startsWith("HTTP/1.1 101 "));
    return reply.bytes;
}

QByteArray replyTo(const QByteArray &target, const QByteArray &header = "X: y", const QString &token = u"abc"_s) {
    return reply({"GET " + target + " HTTP/1.1", "Upgrade: websocket", KEY, header}, token);
}

} // namespace

TEST(Upgrade, WhoKnowsTheTokenIsWelcome) {
    EXPECT_EQ(replyTo("/media?token=abc"), WELCOME);
    EXPECT_EQ(replyTo("/?x=1&token=abc"), WELCOME);
    EXPECT_EQ(replyTo("/", "Authorization: Bearer abc"), WELCOME);
}

TEST(Upgrade, BearerIsWrittenInAnyCase) {
    EXPECT_EQ(replyTo("/", "Authorization: BEARER abc"), WELCOME);
    EXPECT_EQ(replyTo("/?token=abc", "Authorization: BEARER abcd"), NOT_ALLOWED) << "then the query does not count";
}

TEST(Upgrade, AnotherAuthorizationLeavesTheQueryItem) {
    EXPECT_EQ(replyTo("/?token=abc", "Authorization: Basic YTpi"), WELCOME);
    EXPECT_EQ(replyTo("/?token=abc", "Authorization: Bearer"), WELCOME);
    EXPECT_EQ(replyTo("/", "Authorization: Basic abc"), NOT_ALLOWED);
}

TEST(Upgrade, TheTokenIsComparedExactly) {
    for (const auto *target : {"/media", "/media?token", "/media?token=", "/media?token=ABC", "/media?token=abc%20",
                               "/media?Token=abc", "/media?token=abcd", "/media?token=x&token=abc"})
        EXPECT_EQ(replyTo(target), NOT_ALLOWED) << target;
    EXPECT_EQ(replyTo("/", "Authorization: Bearer  abc"), NOT_ALLOWED) << "a space is part of it";
}

TEST(Upgrade, WithoutATokenOfItsOwnItRefusesEverybody) {
    EXPECT_EQ(replyTo("/media?token=", "X: y", {}), NOT_ALLOWED);
    EXPECT_EQ(replyTo("/media", "Authorization: Bearer abc", {}), NOT_ALLOWED);
}

TEST(Upgrade, AnotherPathIsRefusedLikeAWrongToken) {
    EXPECT_EQ(replyTo("/twilio?token=abc"), NOT_ALLOWED);
    EXPECT_EQ(replyTo("/media/?token=abc"), NOT_ALLOWED);
    EXPECT_EQ(replyTo("?token=abc"), NOT_ALLOWED);
}

TEST(Upgrade, WhatDoesNotAskForAWebSocketIsToldSoFirst) {
    EXPECT_EQ(reply({"GET /media?token=abc HTTP/1.1", "Upgrade: websocket"}), WRONG_KIND);
    EXPECT_EQ(reply({"GET /media?token=abc HTTP/1.1", KEY}), WRONG_KIND);
    EXPECT_EQ(reply({"GET /media?token=abc HTTP/1.1", KEY, "Upgrade: h2c"}), WRONG_KIND);
    EXPECT_EQ(reply({"GET /media?token=wrong HTTP/1.1", KEY}), WRONG_KIND) << "whatever the token";
    EXPECT_EQ(reply({"GET /nowhere HTTP/1.1"}), WRONG_KIND) << "and the path";
}

TEST(Upgrade, NothingElseIsLookedAt) {
    EXPECT_EQ(
        reply({"BREW /media?token=abc", "upgrade: WebSocket", KEY, "Connection: close", "Sec-WebSocket-Version: 99"}),
        WELCOME);
}

TEST(Upgrade, AnEmptyKeyIsAKey) {
    EXPECT_TRUE(reply({"GET /?token=abc", "Upgrade: websocket", "Sec-WebSocket-Key:"}).startsWith("HTTP/1.1 101 "));
}
