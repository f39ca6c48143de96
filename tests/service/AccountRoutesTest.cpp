#include "tests/service/ServiceFixture.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class AccountRoutesTest : public ServiceFixture {
protected:
    // From that address, behind a proxy that is named, and with that browser's cookie.
    Reply signInFrom(const QByteArray &address, const QString &password, const QByteArray &browser = {},
                     const QString &email = u"owner@example.org"_s) {
        return request(
            "POST", u"/api/sign-in"_s,
            {{"Origin", origin()},
             {"Content-Type", "application/json"},
             {"X-Forwarded-For", address},
             {"Cookie", browser}},
            QJsonDocument(QJsonObject{{u"email"_s, email}, {u"password"_s, password}}).toJson(QJsonDocument::Compact));
    }
    // The cookie by which the service knows a browser again.
    static QByteArray browserCookie(const Reply &reply) {
        for (const auto &line : reply.header("Set-Cookie").split('\n'))
            if (line.startsWith("ombru_browser="))
                return line.first(line.indexOf(';'));
        return {};
    }
    // Strangers of many networks, until nobody gets in any more who is not known.
    void lockOut() {
        ASSERT_TRUE(settings->proxy.override(u"127.0.0.1"_s));
        for (int network = 0; network < 50; ++network)
            ASSERT_EQ(signInFrom("203.0.113." + QByteArray::number(network), u"a guess of them"_s).code(), u"wrong"_s);
        ASSERT_EQ(signInFrom("198.51.100.1", PASSWORD).code(), u"tooMany"_s);
    }
};

TEST_F(AccountRoutesTest, TheFirstVisitMakesTheOwnersAccountAndSignsIn) {
    EXPECT_TRUE(get(u"/api/me"_s).json()[u"firstVisit"_s].toBool());
    const auto browser = visitFirst();
    const auto me = get(u"/api/me"_s, browser).json();
    EXPECT_EQ(me[u"account"_s][u"email"_s].toString(), u"owner@example.org"_s);
    EXPECT_EQ(me[u"csrf"_s].toString().toLatin1(), browser.csrf);
    EXPECT_FALSE(me[u"firstVisit"_s].toBool());
    EXPECT_EQ(server->visitCode(), QString());
}

TEST_F(AccountRoutesTest, TheFirstVisitNeedsTheCodeOfTheTerminal) {
    const auto reply =
        post(u"/api/first-visit"_s,
             {{u"code"_s, u"BBBB-BBBB-BBBB"_s}, {u"email"_s, u"thief@example.org"_s}, {u"password"_s, PASSWORD}});
    EXPECT_EQ(reply.code(), u"wrong"_s);
    EXPECT_EQ(reply.status, 403);
    EXPECT_EQ(reply.json()[u"attemptsLeft"_s].toInt(), 29);
}

TEST_F(AccountRoutesTest, ThereIsOneFirstVisitOnly) {
    const auto code = server->visitCode();
    visitFirst();
    const auto again = post(u"/api/first-visit"_s,
                            {{u"code"_s, code}, {u"email"_s, u"second@example.org"_s}, {u"password"_s, PASSWORD}});
    EXPECT_EQ(again.status, 409);
}

TEST_F(AccountRoutesTest, AShortPasswordIsNotTaken) {
    const auto reply = post(
        u"/api/first-visit"_s,
        {{u"code"_s, server->visitCode()}, {u"email"_s, u"owner@example.org"_s}, {u"password"_s, u"elevenchars"_s}});
    EXPECT_EQ(reply.status, 400);
    EXPECT_TRUE(get(u"/api/me"_s).json()[u"firstVisit"_s].toBool());
}

TEST_F(AccountRoutesTest, TheSessionsCookieIsKeptFromScripts) {
    visitFirst();
    const auto cookie = signIn(u"Owner@Example.org"_s).header("Set-Cookie");
    EXPECT_TRUE(cookie.contains("; HttpOnly") && cookie.contains("; SameSite=Lax")) << cookie.toStdString();
    EXPECT_FALSE(cookie.contains("Secure"));
}

TEST_F(AccountRoutesTest, BehindHttpsTheCookieIsSecureAndSigningOutEmptiesTheCache) {
    stop();
    ASSERT_TRUE(settings->publicURL.override(u"https://ombru.example"_s));
    auto started = Server::start(*settings, {.passwordCost = CHEAP});
    ASSERT_TRUE(started);
    server = *std::move(started);
    port = server->port();
    const auto reply = request("POST", u"/api/first-visit"_s,
                               {{"Origin", "https://ombru.example"}, {"Content-Type", "application/json"}},
                               QJsonDocument(QJsonObject{{u"code"_s, server->visitCode()},
                                                         {u"email"_s, u"owner@example.org"_s},
                                                         {u"password"_s, PASSWORD}})
                                   .toJson());
    EXPECT_TRUE(reply.header("Set-Cookie").contains("; Secure")) << reply.body.toStdString();
    const auto browser = browserOf(reply);
    const auto out = request("POST", u"/api/sign-out"_s,
                             {{"Origin", "https://ombru.example"},
                              {"Content-Type", "application/json"},
                              {"Cookie", browser.cookie},
                              {"X-CSRF-Token", browser.csrf}},
                             "{}");
    EXPECT_EQ(out.header("Clear-Site-Data"), "\"cache\"") << out.status;
}

TEST_F(AccountRoutesTest, AWrongPasswordSaysHowOftenMoreAndThenHasToWait) {
    visitFirst();
    for (const int left : {4, 3, 2, 1, 0}) {
        const auto reply = signIn(u"owner@example.org"_s, u"wrong password"_s);
        EXPECT_EQ(reply.code(), u"wrong"_s);
        EXPECT_EQ(reply.json()[u"attemptsLeft"_s].toInt(), left);
    }
    const auto refused = signIn(u"owner@example.org"_s);
    EXPECT_EQ(refused.status, 429);
    EXPECT_EQ(refused.code(), u"tooMany"_s);
    EXPECT_GT(refused.header("Retry-After").toInt(), 0);
}

TEST_F(AccountRoutesTest, StrangersDoNotLockOutABrowserThatHasSignedInBefore) {
    visitFirst();
    const auto before = signIn(u"owner@example.org"_s);
    const auto browser = browserCookie(before);
    EXPECT_TRUE(before.header("Set-Cookie").contains(browser + "; Path=/api/sign-in; SameSite=Strict; HttpOnly"))
        << before.header("Set-Cookie").toStdString();
    lockOut();
    const auto again = signInFrom("203.0.113.1", PASSWORD, browser);
    EXPECT_EQ(again.status, 200) << again.body.toStdString();
    EXPECT_EQ(browserCookie(again), browser) << "it stays the one";
    EXPECT_EQ(signInFrom("198.51.100.1", PASSWORD).code(), u"tooMany"_s) << "who is not known waits as before";
}

TEST_F(AccountRoutesTest, ABrowserIsKnownToItsOwnAccountOnly) {
    visitFirst();
    addUser(u"other@example.org"_s);
    const auto others = browserCookie(signIn(u"other@example.org"_s));
    ASSERT_FALSE(others.isEmpty());
    lockOut();
    EXPECT_EQ(signInFrom("198.51.100.1", PASSWORD, others).code(), u"tooMany"_s);
    EXPECT_EQ(signInFrom("198.51.100.1", PASSWORD, "ombru_browser=made-up").code(), u"tooMany"_s);
    EXPECT_EQ(signInFrom("198.51.100.1", PASSWORD, "ombru_browser=").code(), u"tooMany"_s);
}

TEST_F(AccountRoutesTest, AKnownBrowserIsNoWayToGuess) {
    const auto code = server->visitCode();
    const auto browser = browserCookie(post(
        u"/api/first-visit"_s, {{u"code"_s, code}, {u"email"_s, u"owner@example.org"_s}, {u"password"_s, PASSWORD}}));
    ASSERT_TRUE(settings->proxy.override(u"127.0.0.1"_s));
    for (const int left : {4, 3, 2, 1, 0})
        EXPECT_EQ(signInFrom("203.0.113." + QByteArray::number(left), u"a guess"_s, browser)
                      .json()[u"attemptsLeft"_s]
                      .toInt(),
                  left);
    EXPECT_EQ(signInFrom("203.0.113.9", PASSWORD, browser).code(), u"tooMany"_s);
    EXPECT_EQ(signInFrom("203.0.113.9", PASSWORD).status, 200) << "others are not locked out by it";
}

TEST_F(AccountRoutesTest, AnUnknownAddressIsAnsweredLikeAWrongPassword) {
    visitFirst();
    const auto unknown = signIn(u"nobody@example.org"_s);
    EXPECT_EQ(unknown.body, signIn(u"owner@example.org"_s, u"wrong password"_s).body);
}

TEST_F(AccountRoutesTest, SigningOutEndsTheSessionAndItsPages) {
    const auto browser = visitFirst();
    const auto page = this->page(browser);
    page->next(u"computers"_s);
    EXPECT_EQ(post(u"/api/sign-out"_s, {}, browser).status, 204);
    EXPECT_TRUE(page->closes());
    EXPECT_EQ(page->closeCode(), 4401);
    EXPECT_EQ(get(u"/api/computers"_s, browser).code(), u"signedOut"_s);
}

TEST_F(AccountRoutesTest, AChangeNeedsTheSessionsTokenAgainstForgedRequests) {
    auto browser = visitFirst();
    browser.csrf = "something else";
    EXPECT_EQ(post(u"/api/sign-out"_s, {}, browser).code(), u"forbidden"_s);
    browser.csrf.clear();
    EXPECT_EQ(post(u"/api/sign-out"_s, {}, browser).code(), u"forbidden"_s);
    EXPECT_EQ(get(u"/api/computers"_s, browser).status, 200);
}

TEST_F(AccountRoutesTest, APageOfAnotherOriginCanNeitherPostNorSignIn) {
    const auto browser = visitFirst();
    const auto body =
        QJsonDocument(QJsonObject{{u"email"_s, u"owner@example.org"_s}, {u"password"_s, PASSWORD}}).toJson();
    const Headers foreign{{"Origin", "http://evil.example"},
                          {"Content-Type", "application/json"},
                          {"Cookie", browser.cookie},
                          {"X-CSRF-Token", browser.csrf}};
    EXPECT_EQ(request("POST", u"/api/sign-in"_s, foreign, body).code(), u"forbidden"_s);
    EXPECT_EQ(request("POST", u"/api/sign-out"_s, foreign, "{}").code(), u"forbidden"_s);
    const Headers form{{"Origin", origin()}, {"Content-Type", "text/plain"}};
    EXPECT_EQ(request("POST", u"/api/sign-in"_s, form, body).code(), u"forbidden"_s);
}

TEST_F(AccountRoutesTest, APageOfAnotherOriginCannotOpenTheSocket) {
    const auto browser = visitFirst();
    for (const auto *origin : {"http://evil.example", "http://localhost:1", "null", ""}) {
        Line line(socketURL(u"/live"_s), {{"Cookie", browser.cookie}, {"Origin", origin}});
        EXPECT_FALSE(line.opens()) << origin;
    }
}

TEST_F(AccountRoutesTest, WhoIsNotSignedInSeesNothing) {
    visitFirst();
    for (const auto &path : {u"/api/computers"_s, u"/api/computers/1/settings"_s, u"/api/computers/1/tasks"_s,
                             u"/api/tasks/1"_s, u"/api/pictures/1"_s, u"/api/verify?code=KTHR-4821"_s})
        EXPECT_EQ(get(path).code(), u"signedOut"_s) << path.toStdString();
}

TEST_F(AccountRoutesTest, EveryAnswerHasThePolicyOfItsContents) {
    const auto reply = get(u"/api/me"_s);
    EXPECT_TRUE(reply.header("Content-Security-Policy").startsWith("default-src 'none'; script-src 'self'"));
    EXPECT_EQ(reply.header("X-Content-Type-Options"), "nosniff");
}

} // namespace
