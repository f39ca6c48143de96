#include "service/routes/Router.h"

#include "base/Background.h"
#include "tests/service/ServiceFixture.h"
#include "tests/support/TcpPeer.h"

#include <QDirIterator>
#include <QtEndian>

#include <future>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class RouterTest : public ServiceFixture {
protected:
    Reply metrics(const Headers &headers = {}) { return request("GET", u"/metrics"_s, headers); }
};

TEST(Routes, APathLeadsToItsRoute) {
    EXPECT_EQ(findRoute(Method::get, u"/api/computers/7/tasks").id, u"7"_s);
    EXPECT_EQ(findRoute(Method::get, u"/api/computers/7/tasks").route->path, u"/api/computers/*/tasks");
    EXPECT_EQ(findRoute(Method::remove, u"/api/computers/7").route->path, u"/api/computers/*");
    EXPECT_EQ(findRoute(Method::get, u"/web/elements/log.js").id, u"elements/log.js"_s);
    for (const auto *path :
         {u"/api/computers/", u"/api/computers/7/8/tasks", u"/api/computers//tasks", u"/API/me", u"/api/me/"})
        EXPECT_EQ(findRoute(Method::get, QStringView(path)).route, nullptr) << QString::fromUtf16(path).toStdString();
    EXPECT_EQ(findRoute(Method::post, u"/api/me").route, nullptr);
}

TEST_F(RouterTest, WhatIsNotThereIsNotFound) {
    EXPECT_EQ(get(u"/nothing"_s).code(), u"notFound"_s);
    EXPECT_EQ(get(u"/web/../../etc/passwd"_s).status, 404);
    EXPECT_EQ(get(u"/web/%2e%2e/prompts/linux.txt"_s).status, 404);
}

TEST_F(RouterTest, AWrongAddressIsThePagesMatterWhenSomebodyGoesThere) {
    const auto page = get(u"/"_s);
    const auto visit = [&](const QString &path) {
        return request("GET", path, {{"Accept", "text/html,*/*;q=0.8"}, {"If-None-Match", page.header("ETag")}});
    };
    EXPECT_EQ(visit(u"/tasks"_s).status, 404);
    EXPECT_EQ(visit(u"/tasks"_s).body, page.body);
    EXPECT_EQ(visit(u"/api/nothing"_s).code(), u"notFound"_s);
    EXPECT_EQ(visit(u"/web/nothing.js"_s).code(), u"notFound"_s);
}

TEST_F(RouterTest, ThePageComesAlsoWhenTheStoreDoesNot) {
    const auto browser = visitFirst();
    std::promise<void> end;
    server->store().post([waiting = end.get_future().share()](Store &) { waiting.wait(); });
    EXPECT_EQ(get(u"/"_s, browser).status, 200);
    EXPECT_EQ(get(u"/web/store.js"_s, browser).status, 200);
    end.set_value();
    EXPECT_EQ(get(u"/api/me"_s, browser).json()[u"account"_s][u"email"_s].toString(), u"owner@example.org"_s);
}

TEST_F(RouterTest, ThePageIsOneWhateverItShows) {
    const auto page = get(u"/"_s);
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.header("Content-Type"), "text/html; charset=utf-8");
    for (const auto &path : {u"/computers/1"_s, u"/computers/1/tasks"_s, u"/computers/1/settings"_s, u"/tasks/1"_s,
                             u"/verify?code=KTHR-4821"_s})
        EXPECT_EQ(get(path).body, page.body) << path.toStdString();
}

TEST_F(RouterTest, ThePagesFilesAreAskedForAgainAndSentWhenTheyHaveChanged) {
    const auto file = get(u"/web/elements/event-log.js"_s);
    EXPECT_EQ(file.status, 200);
    EXPECT_EQ(file.header("Content-Type"), "text/javascript; charset=utf-8");
    EXPECT_EQ(file.header("Cache-Control"), "no-cache");
    const auto again = request("GET", u"/web/elements/event-log.js"_s, {{"If-None-Match", file.header("ETag")}});
    EXPECT_EQ(again.status, 304);
    EXPECT_TRUE(again.body.isEmpty());
}

TEST_F(RouterTest, ThePageIsSentInSixtyKilobytes) {
    qsizetype sum = 0;
    QDirIterator files(u":/web"_s, QDir::Files, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (file.fileName().endsWith(".png"_L1))
            continue;
        ASSERT_TRUE(file.open(QFile::ReadOnly));
        const auto sent = request("GET", file.fileName().sliced(1), {{"Accept-Encoding", "gzip, deflate, br"}});
        ASSERT_EQ(sent.header("Content-Encoding"), "deflate") << file.fileName().toStdString();
        const auto size = qToBigEndian(static_cast<quint32>(file.size()));
        const auto whole = QByteArray(reinterpret_cast<const char *>(&size), sizeof size) + sent.body;
        const auto lines = file.readAll().split('\n');
        const auto sentLines = qUncompress(whole).split('\n');
        ASSERT_EQ(sentLines.size(), lines.size()) << file.fileName().toStdString();
        for (qsizetype at = 0; at < lines.size(); ++at) {
            const auto words = lines[at].trimmed();
            const bool comment = file.fileName().endsWith(".js"_L1) &&
                                 (words.startsWith("//") || words.startsWith('*') ||
                                  (words.startsWith("/**") && (words.endsWith("*/") || !words.contains("*/"))));
            EXPECT_EQ(sentLines[at], comment ? QByteArray() : lines[at]) << file.fileName().toStdString();
        }
        sum += sent.body.size();
    }
    EXPECT_GT(sum, 10'000);
    EXPECT_LE(sum, 60'000);
    const auto plain = request("GET", u"/web/store.js"_s, {{"Accept-Encoding", "identity"}});
    EXPECT_EQ(plain.header("Content-Encoding"), QByteArray());
    EXPECT_EQ(plain.header("Vary"), "Accept-Encoding");
    EXPECT_TRUE(plain.body.contains("class Store"));
}

TEST_F(RouterTest, ABodyThatIsNoObjectIsRefused) {
    const Headers headers{{"Origin", origin()}, {"Content-Type", "application/json"}};
    for (const auto *body : {"[]", "{", "7", "\xff"})
        EXPECT_EQ(request("POST", u"/api/sign-in"_s, headers, body).code(), u"badRequest"_s) << body;
}

TEST_F(RouterTest, WhoAsksTooOftenWaits) {
    ManualClock clock;
    for (int number = 0; number < 30; ++number)
        ASSERT_EQ(ask(u"/api/device/start"_s, {{u"name"_s, u"x"_s}}).status, 200) << number;
    const auto refused = ask(u"/api/device/start"_s, {{u"name"_s, u"x"_s}});
    EXPECT_EQ(refused.code(), u"tooMany"_s);
    EXPECT_EQ(refused.header("Retry-After"), "10");
    clock.advance(std::chrono::seconds(10));
    EXPECT_EQ(ask(u"/api/device/start"_s, {{u"name"_s, u"x"_s}}).status, 200);
}

TEST_F(RouterTest, TheServicesStateIsForThisComputer) {
    EXPECT_EQ(get(u"/healthz"_s).json()[u"status"_s].toString(), u"ok"_s);
    const auto shown = metrics();
    EXPECT_TRUE(shown.body.contains("\nombru_computers_online 0\n")) << shown.body.toStdString();
    EXPECT_EQ(metrics({{"X-Forwarded-For", "203.0.113.7"}}).status, 403) << "a proxy asks for somebody";
}

TEST_F(RouterTest, AForwardedAddressCountsOnlyFromTheNamedProxy) {
    const auto browser = visitFirst();
    const auto askedFrom = [&] {
        const auto code = request("POST", u"/api/device/start"_s, {{"X-Forwarded-For", "10.1.1.1, 203.0.113.7"}}, "{}")
                              .json()[u"user_code"_s]
                              .toString();
        return get(u"/api/verify?code="_s + code, browser).json()[u"address"_s].toString();
    };
    EXPECT_EQ(askedFrom(), u"127.0.0.1"_s);
    ASSERT_TRUE(settings->proxy.override(u"127.0.0.1"_s));
    EXPECT_EQ(askedFrom(), u"203.0.113.7"_s);
    EXPECT_EQ(metrics({{"X-Forwarded-For", "203.0.113.7"}}).status, 403);
    EXPECT_EQ(metrics().status, 200);
}

TEST_F(RouterTest, OneAddressBehindAProxyHasSoManyRequestsUnderWay) {
    const auto browser = visitFirst();
    pair(browser);
    ASSERT_TRUE(settings->proxy.override(u"127.0.0.1"_s));
    const auto search = [&](const QByteArray &from) {
        return "GET /api/computers/" + firstComputer(browser).toLatin1() +
               "/tasks?search=x HTTP/1.1\r\nHost: here\r\nConnection: close\r\nX-Forwarded-For: " + from +
               "\r\nCookie: " + browser.cookie + "\r\n\r\n";
    };
    std::promise<void> end;
    server->reader().post([waiting = end.get_future().share()](Store &) { waiting.wait(); });
    const auto many = search("203.0.113.7");
    std::vector<std::unique_ptr<TcpPeer>> peers;
    for (int number = 0; number < 50; ++number) {
        peers.push_back(std::make_unique<TcpPeer>(port));
        peers.back()->write(many);
    }
    ASSERT_TRUE(waitUntil([this] { return server->reader().waiting() >= 50; }));
    const auto answerTo = [this](const QByteArray &bytes) {
        return await(background([port = port, bytes] {
            TcpPeer peer(port);
            peer.write(bytes);
            return peer.readToEnd();
        }));
    };
    EXPECT_TRUE(
        answerTo("GET /api/me HTTP/1.1\r\nHost: here\r\nConnection: close\r\nX-Forwarded-For: 203.0.113.7\r\n\r\n")
            .startsWith("HTTP/1.1 429"));
    EXPECT_TRUE(
        answerTo("GET /api/me HTTP/1.1\r\nHost: here\r\nConnection: close\r\nX-Forwarded-For: 203.0.113.8\r\n\r\n")
            .startsWith("HTTP/1.1 200"));
    end.set_value();
    for (const auto &peer : peers)
        EXPECT_TRUE(await(background([&peer] { return peer->readToEnd(); })).startsWith("HTTP/1.1 200"));
    EXPECT_TRUE(answerTo(many).startsWith("HTTP/1.1 200"));
}

TEST_F(RouterTest, WhoAsksTooOftenBehindAProxyKeepsNobodyElseWaiting) {
    ManualClock clock;
    ASSERT_TRUE(settings->proxy.override(u"127.0.0.1"_s));
    const auto start = [&](const QByteArray &from) {
        return request("POST", u"/api/device/start"_s, {{"X-Forwarded-For", from}}, "{}").status;
    };
    for (int number = 0; number < 30; ++number)
        ASSERT_EQ(start("203.0.113.7"), 200) << number;
    EXPECT_EQ(start("203.0.113.7"), 429);
    EXPECT_EQ(start("203.0.113.8"), 200);
    ASSERT_TRUE(settings->proxy.override(QString()));
    for (int number = 0; number < 30; ++number)
        ASSERT_EQ(start("203.0.113." + QByteArray::number(100 + number)), 200) << number;
    EXPECT_EQ(start("203.0.113.200"), 429) << "without a proxy it is the peer that asks, whatever it says";
}

TEST_F(RouterTest, SocketsAreOpenedByWebSocketsOnly) {
    const auto browser = visitFirst();
    const auto reply = request("GET", u"/live"_s, {{"Cookie", browser.cookie}, {"Origin", origin()}});
    EXPECT_EQ(reply.status, 426);
}

} // namespace
