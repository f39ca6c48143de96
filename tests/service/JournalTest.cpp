#include "base/Background.h"
#include "service/live/Hub.h"
#include "tests/support/TcpPeer.h"
#include "wire/AgentCommands.h"

#include <QJsonDocument>
#include <QTemporaryDir>

#include <future>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class JournalTest : public ::testing::Test {
protected:
    void open(std::optional<int> mostPages = {}) {
        auto opened = *Store::open({directory.filePath(u"service.sqlite"_s), mostPages});
        const auto account = opened->accounts.add(u"owner@example.org"_s, "hash", 1)->id;
        one = computer(*opened, account, "one");
        other = computer(*opened, account, "other");
        store = std::make_unique<StoreQueue>(std::move(opened));
    }
    static qint64 computer(Store &store, qint64 account, const QByteArray &name) {
        EXPECT_TRUE(store.computers.ask(name, name, {QString::fromLatin1(name), u"linux"_s, u"10.0.0.1"_s, 1, 100}));
        EXPECT_TRUE(*store.computers.decide(name, account, true, 2));
        return (*store.computers.look(name, name, u"calls"_s, 3))->computer->id;
    }
    void listen() {
        journal->start({.onAppended = [this](const Appended &) { ++kept; },
                        .onLost = [this](const std::set<qint64> &, const Failure &) { ++lost; }});
    }
    Told told(decltype(Told::message) message) const {
        return {.computer = one, .received = 10, .message = std::move(message)};
    }
    void tell(std::vector<Told> all) { // in one turn
        queue.post([this, all = std::move(all)]() mutable {
            for (auto &each : all)
                journal->tell(std::move(each));
        });
    }
    bool hasRoom(qint64 of) {
        const auto answer = std::make_shared<std::promise<bool>>();
        queue.post([this, of, answer] { answer->set_value(journal->hasRoom(of)); });
        return answer->get_future().get();
    }

    QTemporaryDir directory;
    qint64 one = 0;
    qint64 other = 0;
    SerialQueue queue{"test.journal"}; // outlives the store, whose thread posts to it
    std::unique_ptr<StoreQueue> store;
    std::shared_ptr<Journal> journal;
    std::atomic<int> kept = 0;
    std::atomic<int> lost = 0;
};

TEST_F(JournalTest, ALostBatchLeavesNoTaskRunning) {
    open(100);
    journal = std::make_shared<Journal>(queue, *store);
    listen();
    tell({told(StateMessage{true, 0, {}, false, {}}), told(EventMessage{u"user"_s, u"web ❯ go"_s, 10})});
    ASSERT_TRUE(waitUntil([this] { return kept == 1; }));
    std::vector<Told> tooMuch(40, told(EventMessage{u"result"_s, QString(60'000, u'x'), 11}));
    tooMuch.push_back(told(StateMessage{}));
    tell(std::move(tooMuch));
    ASSERT_TRUE(waitUntil([this] { return lost == 1 && kept == 2; }));
    const auto tasks = await(store->ask([](Store &its) { return its.history.lastTasks(); }));
    EXPECT_TRUE(tasks->at(one).ended);
    EXPECT_NE(tasks->at(one).outcome, u"running"_s);
}

TEST_F(JournalTest, MuchAtOnceIsKeptInSeveralBatches) {
    open();
    journal = std::make_shared<Journal>(queue, *store);
    listen();
    tell(std::vector<Told>(100, told(EventMessage{u"result"_s, QString(60'000, u'x'), 11})));
    ASSERT_TRUE(waitUntil([this] { return kept == 2; })) << kept;
    const auto computer = await(store->ask([this](Store &its) { return its.computers.find(one); }));
    EXPECT_EQ(computer->value().lastNumber, 100);
    EXPECT_EQ(lost, 0);
}

TEST_F(JournalTest, AComputerHasNoRoomWhileMuchOfItWaits) {
    open();
    journal = std::make_shared<Journal>(queue, *store);
    listen();
    std::promise<void> disk;
    store->post([stalled = disk.get_future().share()](Store &) { stalled.wait(); });
    tell(std::vector<Told>(100, told(EventMessage{u"result"_s, QString(60'000, u'x'), 11})));
    EXPECT_FALSE(hasRoom(one));
    EXPECT_TRUE(hasRoom(other));
    std::atomic<bool> told = false;
    queue.post([this, &told] { journal->whenRoom(one, [&told] { told = true; }); });
    EXPECT_FALSE(hasRoom(one));
    EXPECT_FALSE(told);
    disk.set_value();
    EXPECT_TRUE(waitUntil([&] { return told.load(); }));
    EXPECT_TRUE(hasRoom(one));
}

TEST_F(JournalTest, AComputerIsReadNoFurtherWhileTheDiskIsBehind) {
    constexpr int MANY = 250;
    open();
    const auto hub = Hub::make(*store);
    hub->load(*await(store->ask([](Store &its) { return its.computers.all(); })), {});
    const auto listening = *makeListeningSocket(Interface::loopback);
    TcpPeer peer(*listenOn(listening, Interface::loopback, 0));
    hub->takeComputer(one, *acceptOne(listening), {});
    std::promise<void> disk;
    store->post([stalled = disk.get_future().share()](Store &) { stalled.wait(); });
    std::atomic<bool> written = false;
    const auto writing = std::async(std::launch::async, [&] {
        const auto event = toJson(EventMessage{u"result"_s, QString(100'000, u'x'), 11});
        const auto frame = masked(Opcode::text, QJsonDocument(event).toJson(QJsonDocument::Compact));
        for (int number = 0; number < MANY; ++number)
            EXPECT_TRUE(peer.write(frame));
        written = true;
    });
    EXPECT_TRUE(waitUntil([&] { return hub->counts().heldBack > 0; }));
    EXPECT_FALSE(written);
    disk.set_value();
    EXPECT_TRUE(waitUntil([&] { return hub->counts().items == MANY; })) << hub->counts().items;
    writing.wait();
    await(hub->stop());
}

} // namespace
