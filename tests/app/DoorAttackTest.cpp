// Those who come through the application's door and mean no good, or have no manners.
#include "tests/app/DoorFixture.h"
#include "tests/support/Processes.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::waitUntil;

namespace {

class DoorAttack : public test::DoorFixture {
protected:
    DoorAttack() { claude.playAlways("exit 1"); }

    // Somebody else is served as ever.
    void expectServed() { EXPECT_EQ(asks(verb(u"new-session"_s))->end(), 0); }
};

} // namespace

TEST_F(DoorAttack, TheSocketIsTheOwnersAlone) {
    EXPECT_EQ(QFile::permissions(path) & ~(QFile::ReadUser | QFile::WriteUser), QFile::ReadOwner | QFile::WriteOwner);
}

TEST_F(DoorAttack, TenAtOnceAreAllServed) {
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 10; ++i)
        clients.push_back(asks({{u"do"_s, u"status"_s}, {u"json"_s, true}}));
    for (const auto &client : clients)
        EXPECT_EQ(client->end(), 0);
    for (const auto &client : clients)
        EXPECT_EQ(client->all(u"raw"_s), clients.front()->all(u"raw"_s));
}

TEST_F(DoorAttack, GarbageIsAnsweredAndHarmsNobody) {
    for (const auto &[garbage, answer] :
         {std::pair<QByteArray, QString>{"hello\n", u"A request is a JSON object in one line."_s},
          {"[1]\n", u"A request is a JSON object in one line."_s},
          {QByteArray(100, '\0') + '\n', u"A request is a JSON object in one line."_s},
          {QByteArray(3 << 20, '{'), u"A request has 1048576 bytes at most."_s},
          {"{}\n", u"That is no request."_s},
          {R"({"do": "fly"})"
           "\n",
           u"That is no request."_s},
          {R"({"do": "run"})"
           "\n",
           u"That is no request."_s},
          {R"({"do": "run", "task": 7})"
           "\n",
           u"That is no request."_s},
          {R"({"do": "share-audio", "on": "yes"})"
           "\n",
           u"That is no request."_s}}) {
        const auto garbler = client();
        garbler->write(garbage);
        EXPECT_EQ(garbler->end(), 2) << garbage.left(40).toStdString();
        EXPECT_EQ(garbler->all(u"error"_s), QStringList{answer}) << garbage.left(40).toStdString();
        expectServed();
    }
}

TEST_F(DoorAttack, HalfALineIsNotWaitedForForEver) {
    ManualClock clock;
    const auto slow = client();
    slow->write(R"({"do": "sta)");
    expectServed();
    EXPECT_TRUE(slow->lines.isEmpty());
    clock.advance(10s);
    EXPECT_EQ(slow->end(), 2);
    EXPECT_EQ(slow->all(u"error"_s), QStringList{u"No request came."_s});
}

TEST_F(DoorAttack, GarbageInTheMiddleOfATaskEndsIt) {
    hang();
    const auto client = asks(run(u"wait"_s));
    claudePid();
    client->write("garbage\n");
    EXPECT_TRUE(waitUntil([this] { return !state->busy(); }));
    expectServed();
}

TEST_F(DoorAttack, ASlowReaderLosesEventsAndIsToldSo) {
    const auto slow = asks({{u"do"_s, u"log"_s}, {u"follow"_s, true}});
    state->emit(u"first"_s, EventKind::good);
    ASSERT_TRUE(slow->hears(u"first"_s));
    slow->socket.setReadBufferSize(1); // no more is taken
    constexpr int EVENTS = 400;
    const QString text(100'000, u'x');
    for (int i = 0; i < EVENTS; ++i)
        state->emit(text, EventKind::good);
    test::settle();
    expectServed();
    const auto swift = asks({{u"do"_s, u"log"_s}});
    EXPECT_EQ(swift->end(), 0);
    slow->socket.setReadBufferSize(0);
    const auto dropped = [&]() -> qint64 {
        for (const auto &line : slow->lines) {
            if (line.contains(u"dropped"_s))
                return line[u"dropped"_s].toInteger();
        }
        return 0;
    };
    ASSERT_TRUE(waitUntil([&] {
        slow->socket.waitForReadyRead(0);
        slow->take();
        return dropped() > 0;
    }));
    EXPECT_EQ(slow->all(u"text"_s).size() - 1 + dropped(), EVENTS + 1) << "the one for the other, too";
    EXPECT_LT(slow->bytes, 4 << 20) << "no more was kept for it";
    state->emit(u"after"_s, EventKind::good);
    EXPECT_TRUE(slow->hears(u"after"_s)) << "and hears again";
}

TEST_F(DoorAttack, ThereIsAnEndToHowManyComeIn) {
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 32; ++i)
        clients.push_back(client());
    const auto late = client();
    EXPECT_EQ(late->end(), 1);
    EXPECT_EQ(late->all(u"error"_s), QStringList{u"Too many commands ask the application at once."_s});
    clients.clear();
    test::settle();
    expectServed();
}

TEST_F(DoorAttack, AnotherUserIsTurnedAway) {
    FakePlatform::instance().peer = Peer{1, false};
    const auto stranger = asks(verb(u"log"_s));
    EXPECT_EQ(stranger->end(), 1);
    EXPECT_EQ(stranger->all(u"error"_s), QStringList{u"This application is another user's."_s});
    FakePlatform::instance().peer = std::nullopt;
    EXPECT_EQ(asks(verb(u"log"_s))->end(), 1);
}

TEST_F(DoorAttack, AScriptDecidesNothingAndHandsNothingOver) {
    boot();
    ASSERT_EQ(auth(), u"in ann@host"_s);
    FakePlatform::instance().servesAScript = true;
    for (const auto &request :
         {QJsonObject{{u"do"_s, u"sign-in"_s}, {u"server"_s, u"http://elsewhere"_s}}, verb(u"sign-out"_s)}) {
        const auto script = asks(request);
        EXPECT_EQ(script->end(), 1);
        EXPECT_EQ(script->all(u"error"_s),
                  QStringList{u"A script cannot change which service this computer belongs to; "
                              "only you can, outside of it."_s});
    }
    EXPECT_EQ(state->settings.serverURL(), service.base());
    EXPECT_EQ(auth(), u"in ann@host"_s);
    EXPECT_EQ(asks(run(u"go"_s))->end(), 1);
    EXPECT_FALSE(state->busy());
    const auto caller = asks(verb(u"call-access"_s));
    EXPECT_EQ(caller->end(), 1);
    EXPECT_EQ(caller->all(u"error"_s), QStringList(u"A script cannot place a call."_s));
    const auto panel = asks(verb(u"panel"_s));
    EXPECT_EQ(panel->end(), 1);
    EXPECT_EQ(panel->all(u"error"_s), QStringList(u"A script cannot open the panel."_s));
    EXPECT_EQ(asks(verb(u"status"_s))->end(), 0) << "to ask is no decision";
}

TEST_F(DoorAttack, WhoIsInTheMiddleOfSomethingEndsWithTheApplication) {
    hang();
    const auto task = asks(run(u"wait"_s));
    claudePid();
    const auto watching = asks({{u"do"_s, u"log"_s}, {u"follow"_s, true}});
    const auto silent = client();
    ASSERT_TRUE(watching->hears(u"you ❯ wait"_s));
    test::await(state->drain());
    test::await(door.end());
    EXPECT_EQ(task->end(), 0);
    EXPECT_EQ(task->report()[u"outcome"_s], u"cancelled"_s);
    EXPECT_EQ(watching->end(), 130);
    EXPECT_TRUE(waitUntil([&] { return silent->socket.state() == QLocalSocket::UnconnectedState; }));
}
