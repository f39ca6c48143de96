#include "base/Background.h"
#include "service/live/Hub.h"
#include "tests/support/Ceiling.h"
#include "tests/support/TcpPeer.h"
#include "wire/AgentCommands.h"

#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <future>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QByteArray JPEG = QByteArray("\xFF\xD8\xFF\xE0", 4) + "picture";

class JournalTest : public ::testing::Test {
protected:
    void open(std::optional<int> mostPages = {}) {
        auto opened = *Store::open({file, mostPages});
        const auto account = opened->accounts.add(u"owner@example.org"_s, "hash", 1)->id;
        one = computer(*opened, account, "one");
        other = computer(*opened, account, "other");
        begin = *opened->beginJournal();
        store = std::make_unique<StoreQueue>(std::move(opened));
    }
    static qint64 computer(Store &store, qint64 account, const QByteArray &name) {
        EXPECT_TRUE(store.computers.ask(name, name, {QString::fromLatin1(name), u"linux"_s, u"10.0.0.1"_s, 1, 100}));
        EXPECT_TRUE(*store.computers.decide(name, account, true, 2));
        return (*store.computers.look(name, name, u"calls"_s, 3))->computer->id;
    }
    void listen() {
        journal = queue->make<Journal>(queue, *store, begin);
        journal->start({.onAppended =
                            [this](const Appended &appended) {
                                written = entriesInFiles();
                                shown += static_cast<int>(appended.items.size());
                                ++kept;
                            },
                        .onLost = [this](const std::set<qint64> &, const Failure &) { ++lost; },
                        .onRoom = [] {}});
    }
    std::size_t entriesInFiles() const { // as a kill would leave them
        std::size_t count = 0;
        for (const auto &path : JournalFile::of(file)) {
            QFile opened(path);
            const auto segment = opened.open(QFile::ReadOnly) ? *readSegment(opened.readAll()) : std::nullopt;
            count += segment ? segment->entries.size() : 0;
        }
        return count;
    }
    Told told(decltype(Told::message) message) const {
        return {.computer = one, .received = 10, .message = std::move(message)};
    }
    Told line(const QString &text) const { return told(EventMessage{u"result"_s, text, 11}); }
    void tell(std::vector<Told> all) { // in one turn
        queue->post([this, all = std::move(all)]() mutable {
            for (auto &each : all)
                journal->tell(std::move(each));
        });
    }
    template <class Question>
    auto ask(Question question) { // on the queue
        using Answer = std::invoke_result_t<Question>;
        const auto answer = std::make_shared<std::promise<Answer>>();
        queue->post([question, answer] { answer->set_value(question()); });
        return answer->get_future().get();
    }
    void TearDown() override { // nothing may tell this any more
        ask([this] {
            journal.reset();
            return 0;
        });
        store.reset();
        ask([] { return 0; });
    }
    bool hasRoom(qint64 of) {
        return ask([this, of] { return journal->hasRoom(of); });
    }
    void settle() {
        const auto settled = std::make_shared<std::promise<void>>();
        queue->post([this, settled] { journal->settle([settled] { settled->set_value(); }); });
        settled->get_future().wait();
    }
    // The other computer's lines leave no room in the database for those of the one.
    void fill() {
        open(100);
        listen();
        auto others = line(QString(60'000, u'x'));
        others.computer = other;
        tell(std::vector<Told>(4, others));
        ASSERT_TRUE(waitUntil([this] { return shown == 4; }));
        settle();
        tell({line(u"a"_s), line(QString(60'000, u'x')), line(QString(60'000, u'x')), line(u"b"_s)});
        ASSERT_TRUE(waitUntil([this] { return shown == 8; }));
        settle();
    }
    QStringList inDatabase() {
        const auto items = await(store->ask([this](Store &its) { return its.history.itemsAfter(one, 0, 1000); }));
        return texts(*items);
    }
    qint64 lastInDatabase() {
        return (*await(store->ask([this](Store &its) { return its.computers.find(one); })))->lastNumber;
    }
    static QStringList texts(const std::vector<Item> &items) {
        QStringList all;
        for (const auto &item : items)
            all.append(item.text);
        return all;
    }

    QTemporaryDir directory;
    QString file = directory.filePath(u"service.sqlite"_s);
    qint64 one = 0;
    qint64 other = 0;
    std::shared_ptr<SerialQueue> queue = std::make_shared<SerialQueue>("test.journal");
    JournalStart begin;
    std::unique_ptr<StoreQueue> store;
    std::shared_ptr<Journal> journal;
    std::atomic<int> kept = 0;
    std::atomic<int> shown = 0;
    std::atomic<int> lost = 0;
    std::atomic<std::size_t> written = 0; // when something was shown last
};

TEST_F(JournalTest, WhatIsShownIsWrittenAndNobodyWaitsForTheDatabase) {
    open();
    listen();
    std::promise<void> disk;
    store->post([stalled = disk.get_future().share()](Store &) { stalled.wait(); });
    tell({line(u"a"_s), told(ScreenshotMessage{1, 10, JPEG})});
    ASSERT_TRUE(waitUntil([this] { return shown == 2; }));
    EXPECT_EQ(written, 2U);
    EXPECT_EQ(ask([this] { return journal->firstOf(one); }), 1);
    EXPECT_EQ(texts(ask([this] { return journal->itemsAfter(one, 0, 10); })), (QStringList{u"a"_s, {}}));
    EXPECT_EQ(texts(ask([this] { return journal->itemsAfter(one, 0, 1); })), QStringList{u"a"_s});
    EXPECT_EQ(ask([this] { return journal->itemsAfter(one, 2, 10).size(); }), 0U);
    EXPECT_EQ(ask([this] { return journal->picture(1); })->jpeg, JPEG);
    EXPECT_FALSE(ask([this] { return journal->firstOf(other); }));
    disk.set_value();
    settle();
    EXPECT_EQ(inDatabase(), (QStringList{u"a"_s, {}}));
    EXPECT_FALSE(ask([this] { return journal->firstOf(one); }));
    EXPECT_FALSE(ask([this] { return journal->picture(1); }));
    EXPECT_EQ(entriesInFiles(), 0U);
}

TEST_F(JournalTest, ItIsMovedByItself) {
    open();
    listen();
    ManualClock clock;
    tell({line(u"a"_s)});
    ASSERT_TRUE(waitUntil([this] { return shown == 1; }));
    EXPECT_EQ(inDatabase(), QStringList());
    clock.advance(Journal::MOVED_EVERY);
    EXPECT_TRUE(waitUntil([this] { return inDatabase() == QStringList{u"a"_s}; }));
    EXPECT_TRUE(waitUntil([this] { return entriesInFiles() == 0; }));
}

TEST_F(JournalTest, WhatComesWhileAPartIsMovedIsSettledToo) {
    open();
    listen();
    std::promise<void> disk;
    store->post([stalled = disk.get_future().share()](Store &) { stalled.wait(); });
    tell({line(u"a"_s)});
    ASSERT_TRUE(waitUntil([this] { return shown == 1; }));
    std::atomic<int> settled = 0;
    queue->post([&] { journal->settle([&] { ++settled; }); }); // the first part is on its way
    tell({line(u"b"_s)});
    ASSERT_TRUE(waitUntil([this] { return shown == 2; }));
    queue->post([&] { journal->settle([&] { ++settled; }); });
    EXPECT_EQ(entriesInFiles(), 2U);
    EXPECT_EQ(settled, 0);
    disk.set_value();
    EXPECT_TRUE(waitUntil([&] { return settled == 2; }));
    EXPECT_EQ(inDatabase(), (QStringList{u"a"_s, u"b"_s}));
}

TEST_F(JournalTest, WhatCannotBeWrittenIsNotShownAndUsesUpNoNumber) {
    open();
    listen();
    tell({line(u"a"_s)});
    ASSERT_TRUE(waitUntil([this] { return shown == 1; }));
    {
        const Ceiling ceiling(100'000);
        tell({line(QString(60'000, u'x'))});
        ASSERT_TRUE(waitUntil([this] { return lost == 1; }));
        EXPECT_EQ(shown, 1);
        tell({line(u"small"_s)});
        ASSERT_TRUE(waitUntil([this] { return shown == 2; }));
    }
    EXPECT_EQ(ask([this] { return journal->itemsAfter(one, 1, 10).front().number; }), 2);
    settle();
    EXPECT_EQ(inDatabase(), (QStringList{u"a"_s, u"small"_s}));
}

TEST_F(JournalTest, WhatTheDatabaseHasNoRoomForStaysAndIsMovedOnceItHas) {
    fill();
    EXPECT_TRUE(ask([this] { return journal->isStuck(); }));
    EXPECT_EQ(lost, 1) << "it is said";
    EXPECT_EQ(inDatabase(), QStringList());
    EXPECT_EQ(texts(ask([this] { return journal->itemsAfter(one, 3, 10); })), QStringList{u"b"_s})
        << "a page can catch up";
    tell({line(u"more"_s)});
    ASSERT_TRUE(waitUntil([this] { return lost == 2; })) << "and nothing is shown that comes now";
    EXPECT_EQ(entriesInFiles(), 4U);
    settle(); // waits for nothing
    EXPECT_TRUE(await(store->ask([this](Store &its) { return its.history.forget(other, 0); })));
    ManualClock clock; // which was still
    queue->post([this] { journal->tryAgain(); });
    ASSERT_TRUE(waitUntil([this] { return !ask([this] { return journal->isStuck(); }); }));
    EXPECT_EQ(inDatabase().last(), u"b"_s);
    EXPECT_EQ(entriesInFiles(), 0U);
    tell({line(u"c"_s)});
    ASSERT_TRUE(waitUntil([this] { return written == 1; }));
    settle();
    EXPECT_EQ(inDatabase().last(), u"c"_s);
}

TEST_F(JournalTest, AFullDatabaseIsTriedAgainByItself) {
    ManualClock clock;
    fill();
    EXPECT_TRUE(await(store->ask([this](Store &its) { return its.history.forget(other, 0); })));
    clock.advance(Journal::TRIED_AGAIN);
    EXPECT_TRUE(waitUntil([this] { return inDatabase().size() == 4; }));
    EXPECT_EQ(lost, 1) << "it is said once";
}

TEST_F(JournalTest, WhatIsForgottenIsGoneAlsoWhereTheDatabaseHadNoRoomForIt) {
    fill();
    const auto upTo = ask([this] { return journal->forget(one); });
    EXPECT_EQ(upTo, 4);
    EXPECT_TRUE(await(store->ask([this, upTo](Store &its) { return its.history.forget(one, upTo); })));
    EXPECT_TRUE(ask([this, upTo] {
        journal->forgotten(one, upTo);
        journal->tryAgain();
        return !journal->firstOf(one);
    }));
    ASSERT_TRUE(waitUntil([this] { return !ask([this] { return journal->isStuck(); }); }));
    EXPECT_EQ(inDatabase(), QStringList());
    tell({line(u"b"_s)});
    ASSERT_TRUE(waitUntil([this] { return written == 1; }));
    settle();
    EXPECT_EQ(inDatabase(), QStringList{u"b"_s});
}

TEST_F(JournalTest, ALostBatchLeavesNoTaskRunning) {
    open();
    listen();
    tell({told(StateMessage{true, 0, {}, false, {}}), told(EventMessage{u"user"_s, u"web ❯ go"_s, 10})});
    ASSERT_TRUE(waitUntil([this] { return kept == 1; }));
    {
        const Ceiling ceiling(100'000);
        tell({line(QString(60'000, u'x')), told(StateMessage{})});
        ASSERT_TRUE(waitUntil([this] { return lost == 1 && kept == 2; }));
    }
    settle();
    const auto tasks = await(store->ask([](Store &its) { return its.history.lastTasks(); }));
    EXPECT_TRUE(tasks->at(one).ended);
    EXPECT_NE(tasks->at(one).outcome, u"running"_s);
}

TEST_F(JournalTest, MuchAtOnceIsWrittenPieceByPieceAndMovedWithoutWaitingForMore) {
    open();
    listen();
    ManualClock clock; // so that nothing is moved by the time
    tell(std::vector<Told>(100, line(QString(60'000, u'x'))));
    ASSERT_TRUE(waitUntil([this] { return shown == 100; })) << shown;
    EXPECT_GT(kept, 5);
    EXPECT_TRUE(waitUntil([this] { return lastInDatabase() > 30; }));
    settle();
    EXPECT_EQ(lastInDatabase(), 100);
    EXPECT_EQ(lost, 0);
}

TEST_F(JournalTest, WhatLeavesNothingTakesNoRoom) {
    open();
    listen();
    for (int round = 0; round < 3; ++round)
        tell(std::vector<Told>(5, told(ScreenshotMessage{1, 10, QByteArray(1 << 20, 'x')}))); // no JPEG
    tell({line(u"a"_s)});
    ASSERT_TRUE(waitUntil([this] { return shown == 1; }));
    EXPECT_TRUE(hasRoom(one));
}

TEST_F(JournalTest, AComputerHasNoRoomWhileMuchOfItWaits) {
    open();
    listen();
    std::promise<void> disk;
    store->post([stalled = disk.get_future().share()](Store &) { stalled.wait(); });
    tell(std::vector<Told>(100, line(QString(60'000, u'x'))));
    EXPECT_FALSE(hasRoom(one));
    EXPECT_TRUE(hasRoom(other));
    std::atomic<bool> told = false;
    queue->post([this, &told] { journal->whenRoom(one, [&told] { told = true; }); });
    EXPECT_FALSE(hasRoom(one));
    EXPECT_FALSE(told);
    disk.set_value();
    EXPECT_TRUE(waitUntil([&] { return told.load(); }));
    EXPECT_TRUE(hasRoom(one));
}

TEST_F(JournalTest, AComputerIsReadNoFurtherWhileTheDiskIsBehind) {
    constexpr int MANY = 250;
    open();
    const auto hub = Hub::make(*store, *store, begin);
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
