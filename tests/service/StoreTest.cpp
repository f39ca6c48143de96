#include "service/store/Store.h"

#include "service/store/Schema.h"
#include "service/store/StoreQueue.h"
#include "tests/service/Append.h"
#include "tests/support/Wait.h"

#include <QFile>
#include <QTemporaryDir>

#include <future>
#include <sys/resource.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override { open(); }

    void open(std::optional<int> mostPages = {}) {
        store.reset();
        auto opened = Store::open({file, mostPages});
        ASSERT_TRUE(opened) << opened.error().description.toStdString();
        store = *std::move(opened);
    }
    void change(const char *statement) const {
        const auto database = Database::open(file, Database::Mode::existing);
        ASSERT_TRUE((*database)->script(statement));
    }
    static QByteArray contents(const QString &path) {
        QFile opened(path);
        EXPECT_TRUE(opened.open(QFile::ReadOnly));
        return opened.readAll();
    }
    qint64 computer() {
        const auto account = store->accounts.add(u"owner@example.org"_s, "hash", 1);
        EXPECT_TRUE(store->computers.ask("device", "user", {u"workshop"_s, u"linux"_s, u"10.0.0.1"_s, 1, 100}));
        EXPECT_TRUE(*store->computers.decide("user", account->id, true, 2));
        return (*store->computers.look("device", "token", u"calls"_s, 3))->computer->id;
    }

    QTemporaryDir directory;
    QString file = directory.filePath(u"service.sqlite"_s);
    std::unique_ptr<Store> store;
};

TEST_F(StoreTest, TheFileIsItsOwnersAlone) {
    const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
    for (const auto &path : {file, file + u"-wal"_s})
        EXPECT_FALSE(QFile::permissions(path) & others) << path.toStdString();
}

TEST_F(StoreTest, WhatIsKeptIsThereAfterwards) {
    const auto id = computer();
    open();
    const auto found = store->computers.ofToken("token");
    ASSERT_TRUE(found && *found);
    EXPECT_EQ((*found)->id, id);
    EXPECT_EQ((*found)->name, u"workshop"_s);
    EXPECT_EQ((*found)->address, u"10.0.0.1"_s);
    EXPECT_EQ(store->accounts.find(u"OWNER@example.org"_s)->value().password, "hash");
}

TEST_F(StoreTest, AnAddressHasOneAccount) {
    ASSERT_TRUE(store->accounts.add(u"owner@example.org"_s, "one", 1));
    const auto again = store->accounts.add(u"Owner@Example.org"_s, "two", 1);
    ASSERT_FALSE(again);
    EXPECT_EQ(again.error().code, Accounts::ADDRESS_TAKEN);
    EXPECT_EQ(again.error().description, u"There is an account Owner@Example.org already."_s);
}

TEST_F(StoreTest, TheFirstAccountIsMadeOnce) {
    EXPECT_TRUE(store->accounts.addFirst(u"a@b"_s, "x", 1)->has_value());
    EXPECT_FALSE(store->accounts.addFirst(u"c@d"_s, "x", 1)->has_value());
}

TEST_F(StoreTest, ASessionEndsWithItsTimeByItselfOrWithThePassword) {
    const auto account = *store->accounts.add(u"a@b"_s, "x", 1);
    const auto holds = [&](const char *token, double now) {
        return store->accounts.sessionOf(token, now)->has_value();
    };
    ASSERT_TRUE(store->accounts.beginSession("one", account.id, 1, 100));
    ASSERT_TRUE(store->accounts.beginSession("two", account.id, 1, 100));
    EXPECT_TRUE(holds("one", 99));
    EXPECT_FALSE(holds("one", 100));
    ASSERT_TRUE(store->accounts.endSession("one"));
    EXPECT_FALSE(holds("one", 50));
    EXPECT_TRUE(holds("two", 50));
    EXPECT_TRUE(*store->accounts.setPassword(u"a@b"_s, "y"));
    EXPECT_FALSE(holds("two", 50));
    EXPECT_FALSE(*store->accounts.setPassword(u"nobody@b"_s, "y"));
}

TEST_F(StoreTest, OfManyBrowsersTheLatestAreKnown) {
    const auto account = *store->accounts.add(u"a@b"_s, "x", 1);
    for (int number = 0; number < 60; ++number)
        ASSERT_TRUE(store->accounts.rememberBrowser(QByteArray::number(number), account.id, number));
    ASSERT_TRUE(store->accounts.rememberBrowser("10", account.id, 61));
    EXPECT_FALSE(*store->accounts.knowsBrowser("9", account.id));
    EXPECT_TRUE(*store->accounts.knowsBrowser("10", account.id));
    EXPECT_TRUE(*store->accounts.knowsBrowser("59", account.id));
    EXPECT_FALSE(*store->accounts.knowsBrowser("59", account.id + 1));
}

TEST_F(StoreTest, ANewPasswordForgetsTheBrowsersOfThatAccount) {
    const auto account = *store->accounts.add(u"a@b"_s, "x", 1);
    const auto another = *store->accounts.add(u"b@b"_s, "x", 1);
    ASSERT_TRUE(store->accounts.rememberBrowser("its", account.id, 1));
    ASSERT_TRUE(store->accounts.rememberBrowser("other", another.id, 1));
    EXPECT_TRUE(*store->accounts.setPassword(u"a@b"_s, "y"));
    EXPECT_FALSE(*store->accounts.knowsBrowser("its", account.id));
    EXPECT_TRUE(*store->accounts.knowsBrowser("other", another.id));
}

TEST_F(StoreTest, ACodeIsOverAfterItsTime) {
    const auto account = *store->accounts.add(u"a@b"_s, "x", 1);
    ASSERT_TRUE(store->computers.ask("device", "user", {u"n"_s, u"linux"_s, u"a"_s, 1, 100}));
    EXPECT_TRUE(store->computers.openRequest("user", 99)->has_value());
    EXPECT_FALSE(store->computers.openRequest("user", 100)->has_value());
    EXPECT_FALSE(*store->computers.decide("user", account.id, true, 100));
    EXPECT_FALSE(store->computers.look("device", "t", u"c"_s, 100)->has_value());
}

TEST_F(StoreTest, ADecisionIsMadeOnce) {
    const auto account = *store->accounts.add(u"a@b"_s, "x", 1);
    ASSERT_TRUE(store->computers.ask("device", "user", {u"n"_s, u"linux"_s, u"a"_s, 1, 100}));
    EXPECT_TRUE(*store->computers.decide("user", account.id, false, 2));
    EXPECT_FALSE(*store->computers.decide("user", account.id, true, 3));
    EXPECT_EQ((*store->computers.look("device", "t", u"c"_s, 4))->state, DeviceRequest::State::refused);
}

TEST_F(StoreTest, ANewerDatabaseIsRefusedAndLeftAlone) {
    store.reset();
    change("PRAGMA user_version = 99");
    const auto before = contents(file);
    const auto opened = Store::open({file});
    ASSERT_FALSE(opened);
    EXPECT_EQ(opened.error().description,
              u"The database %1 cannot be used: a newer ombru-service wrote it (layout 99)."_s.arg(file));
    EXPECT_EQ(contents(file), before);
}

TEST_F(StoreTest, ADatabaseOfSomethingElseIsRefusedAndLeftAlone) {
    store.reset();
    QFile::remove(file);
    {
        const auto other = Database::open(file, Database::Mode::make);
        ASSERT_TRUE((*other)->script("CREATE TABLE notes (text)"));
    }
    const auto before = contents(file);
    EXPECT_FALSE(Store::open({file}));
    EXPECT_EQ(contents(file), before);
}

TEST_F(StoreTest, WhatIsNoDatabaseIsRefusedAndLeftAlone) {
    store.reset();
    QFile other(file);
    ASSERT_TRUE(other.open(QFile::WriteOnly));
    other.write(QByteArray(5000, 'x'));
    other.close();
    EXPECT_FALSE(Store::open({file}));
    EXPECT_EQ(contents(file), QByteArray(5000, 'x'));
}

TEST_F(StoreTest, ACopyIsMadeWhileTheStoreIsOpenAndPutBack) {
    computer();
    const auto copy = directory.filePath(u"copy"_s);
    ASSERT_TRUE(Store::backup(file, copy));
    EXPECT_FALSE(QFile::permissions(copy) & (QFile::ReadGroup | QFile::ReadOther));
    ASSERT_TRUE(store->accounts.add(u"later@example.org"_s, "x", 5));
    store.reset();
    ASSERT_TRUE(Store::restore(copy, file));
    open();
    EXPECT_FALSE(store->accounts.find(u"later@example.org"_s)->has_value());
    EXPECT_TRUE(store->computers.ofToken("token")->has_value());
}

TEST_F(StoreTest, ACopyReplacesNothing) {
    const auto copy = directory.filePath(u"copy"_s);
    ASSERT_TRUE(Store::backup(file, copy));
    const auto again = Store::backup(file, copy);
    ASSERT_FALSE(again);
    EXPECT_EQ(again.error().description, copy + u" is there already; nothing was written."_s);
}

TEST_F(StoreTest, WhatIsNoCopyIsNotPutBack) {
    computer();
    store.reset();
    QFile other(directory.filePath(u"copy"_s));
    ASSERT_TRUE(other.open(QFile::WriteOnly));
    other.write("not a database, but of some length: " + QByteArray(5000, 'x'));
    other.close();
    EXPECT_FALSE(Store::restore(other.fileName(), file));
    open();
    EXPECT_TRUE(store->computers.ofToken("token")->has_value());
}

TEST_F(StoreTest, AFullDiskIsAFailureOfItsOwnAndKeepsWhatThereIs) {
    const auto id = computer();
    open(60);
    std::vector<Told> many(
        20, {.computer = id, .received = 5, .message = EventMessage{u"result"_s, QString(60'000, u'x'), 5}});
    const auto kept = test::append(*store, std::span(many).first(1));
    ASSERT_TRUE(kept);
    const auto lost = test::append(*store, many);
    ASSERT_FALSE(lost);
    EXPECT_TRUE(isDiskFull(lost.error()));
    EXPECT_EQ(store->history.itemsAfter(id, 0, 100)->size(), 1U);
    const Told small{.computer = id, .received = 6, .message = EventMessage{u"good"_s, u"fits"_s, 6}};
    EXPECT_EQ(test::append(*store, {&small, 1})->items.front().number, 2) << "the number is the next one that was kept";
}

TEST_F(StoreTest, AThreadOfLowPriorityLeavesTheProcessorToOthers) {
    const auto nice = [](StoreQueue &queue) {
        const auto number = std::make_shared<std::promise<int>>();
        queue.post(
            [number](Store &) { number->set_value(::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()))); });
        return number->get_future().get();
    };
    const auto usual = ::getpriority(PRIO_PROCESS, 0);
    StoreQueue low(std::move(store), StoreQueue::Priority::low);
    EXPECT_GT(nice(low), usual);
    StoreQueue other(*Store::openReader(file));
    EXPECT_EQ(nice(other), usual);
    EXPECT_EQ(::getpriority(PRIO_PROCESS, 0), usual);
}

} // namespace
