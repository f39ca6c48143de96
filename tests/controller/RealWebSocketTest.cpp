// The web channel to a server that nobody here wrote. Skipped, with a line that says so, only where the npm registry
// cannot be reached.

#include "cloud/Cloud.h"
#include "tests/controller/LinkFixture.h"
#include "tests/support/Companion.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::waitUntil;

namespace {

class RealWebSocket : public test::LinkFixture {
protected:
    void SetUp() override {
        if (!QFile::exists(QStringLiteral(OMBRU_WS) + u"/package.json"_s))
            GTEST_SKIP() << "The package ws could not be had: the npm registry was not reached.";
        server.emplace(
            QByteArrayList{"node", qgetenv("OMBRU_SOURCE") + "/tests/support/ws-service.cjs", OMBRU_WS, "%fd"},
            "nodejs");
        const auto port = QString::fromLatin1(server->line());
        base = u"http://127.0.0.1:"_s + port;
        ASSERT_TRUE(state->settings.agentURL.write(u"ws://127.0.0.1:%1/agent"_s.arg(port)));
        boot();
        ASSERT_TRUE(sees(u"\"type\":\"state\""_s));
    }

    // What it has seen, once it has done as asked.
    QStringList ask(const QString &path, const QJsonObject &body = {}) {
        const auto reply = test::await(Cloud({.userAgent = "test"}).post(base, path, body, {}));
        QStringList lines;
        if (!reply) {
            ADD_FAILURE() << reply.error().description.toStdString();
            return lines;
        }
        for (const auto &line : reply->value(u"seen"_s).toArray())
            lines.append(line.toString());
        return lines;
    }
    void say(const QJsonObject &message) { ask(u"/say"_s, message); }
    QStringList seen() { return ask(u"/seen"_s); }
    bool sees(const QString &text) {
        return waitUntil([&] { return !seen().filter(text).isEmpty(); });
    }

    std::optional<test::Companion> server;
    QString base;
};

} // namespace

TEST_F(RealWebSocket, HelloComesFirstThenTheState) {
    const auto lines = seen();
    ASSERT_EQ(lines.size(), 3) << lines.join(u'\n').toStdString();
    EXPECT_EQ(lines[0], u"open Bearer tok"_s);
    EXPECT_EQ(lines[1], u"text {\"type\":\"hello\"}"_s);
    EXPECT_TRUE(lines[2].contains(u"\"busy\":false"_s));
}

TEST_F(RealWebSocket, ATaskRunsAndStopEndsTheNext) {
    answerQuestions({u"DONE: ok"_s, u"DONE: never"_s}, true);
    say({{u"type"_s, u"task"_s}, {u"text"_s, u"open it"_s}});
    ASSERT_TRUE(sees(u"web ❯ open it"_s));
    EXPECT_TRUE(sees(u"\"busy\":true"_s));
    go();
    EXPECT_TRUE(sees(u"✓ ok"_s));
    ASSERT_TRUE(waitUntil([this] { return !state->busy; }));
    EXPECT_TRUE(QFile::remove(home.filePath(u"go"_s)));
    say({{u"type"_s, u"task"_s}, {u"text"_s, u"another"_s}});
    ASSERT_TRUE(waitUntil([this] { return state->status() == u"Claude is thinking…"_s; }));
    say({{u"type"_s, u"cancel"_s}});
    EXPECT_TRUE(sees(u"Stop pressed on the website — cancelling"_s));
    EXPECT_EQ(finish().outcome, TaskResult::Outcome::cancelled);
}

TEST_F(RealWebSocket, SoundIsBinary) {
    say({{u"type"_s, u"listen"_s}, {u"on"_s, true}});
    ASSERT_TRUE(waitUntil([] { return !FakePlatform::instance().desktop->recordings.empty(); }));
    FakePlatform::instance().desktop->recordings[0]->listener.onSound(std::vector{1.0F, -1.0F});
    EXPECT_TRUE(sees(u"binary ff7f0180"_s));
}

TEST_F(RealWebSocket, PingsOfBothAreAnswered) {
    ask(u"/ping"_s);
    EXPECT_TRUE(sees(u"pong are you there"_s));
    EXPECT_TRUE(state->agentConnected());
}

TEST_F(RealWebSocket, WhateverItClosesWithTheChannelComesBack) {
    for (const int code : {1000, 1011, 4001}) {
        const auto before = seen().filter(u"open "_s).size();
        ask(u"/close"_s, {{u"code"_s, code}});
        EXPECT_TRUE(sees(u"close %1"_s.arg(code))) << "the close is answered";
        EXPECT_TRUE(waitUntil([&] { return seen().filter(u"open "_s).size() == before + 1; }));
    }
}

TEST_F(RealWebSocket, ASignOutSays1001) {
    state->signOut();
    EXPECT_TRUE(sees(u"close 1001"_s));
}

TEST_F(RealWebSocket, FiftyMegabytesGoThroughBothWays) {
    constexpr int LENGTH = 50 << 20;
    state->emit(QString(LENGTH, u'x'), EventKind::said);
    EXPECT_TRUE(sees(u"long %1"_s.arg(LENGTH)));
    state->emit(u"afterwards"_s, EventKind::good);
    EXPECT_TRUE(sees(u"afterwards"_s)) << "the channel is still the same";
    ask(u"/long"_s, {{u"length"_s, LENGTH}});
    EXPECT_TRUE(waitUntil([] { return !FakePlatform::instance().desktop->recordings.empty(); })) << "it listens";
    EXPECT_EQ(seen().filter(u"open "_s).size(), 1);
}
