// What becomes of the store on a disk that is really full: SQLite is told so by the calls that it makes.
#include "tests/service/Append.h"
#include "tests/support/Ceiling.h"
#include "tests/support/Wait.h"

#include <QDir>
#include <QTemporaryDir>

#include <cerrno>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

// A disk of so many bytes for the files of one directory, as long as one lives.
class SmallDisk {
public:
    SmallDisk(QString directory, qint64 bytes) {
        its.directory = std::move(directory);
        its.bytes = bytes;
        replace(reinterpret_cast<sqlite3_syscall_ptr>(&write), reinterpret_cast<sqlite3_syscall_ptr>(&writeAt));
    }
    ~SmallDisk() { replace(nullptr, nullptr); }
    SmallDisk(const SmallDisk &) = delete;
    SmallDisk &operator=(const SmallDisk &) = delete;

    // What is never written, but mapped, may take more than there was.
    static qint64 left() {
        qint64 used = 0;
        for (const auto &entry : QDir(its.directory).entryInfoList(QDir::Files))
            used += entry.size();
        return std::max<qint64>(0, its.bytes - used);
    }

private:
    struct State {
        QString directory;
        qint64 bytes = 0;
        std::mutex mutex;
    };
    static State its;

    static void replace(sqlite3_syscall_ptr simple, sqlite3_syscall_ptr placed) {
        auto *system = sqlite3_vfs_find(nullptr);
        system->xSetSystemCall(system, "write", simple);
        for (const auto *name : {"pwrite", "pwrite64"})
            system->xSetSystemCall(system, name, placed);
    }
    static bool hasRoom(int file, qint64 end) {
        struct stat there{};
        ::fstat(file, &there);
        return end - there.st_size <= left();
    }
    static ssize_t write(int file, const void *bytes, size_t size) {
        return writeAt(file, bytes, size, ::lseek64(file, 0, SEEK_CUR));
    }
    static ssize_t writeAt(int file, const void *bytes, size_t size, off64_t place) {
        const std::lock_guard oneByOne(its.mutex);
        if (hasRoom(file, place + static_cast<qint64>(size)))
            return ::pwrite64(file, bytes, size, place);
        errno = ENOSPC;
        return -1;
    }
};

SmallDisk::State SmallDisk::its;

class FullDiskTest : public ::testing::Test {
protected:
    static constexpr qint64 RESERVE = 12 << 20;

    void fill(qint64 reserve) {
        store = *Store::open({.file = directory.filePath(u"service.sqlite"_s), .reserve = reserve});
        account = store->accounts.add(u"owner@example.org"_s, "hash", 1)->id;
        one = computer("one");
        other = computer("other");
        disk.emplace(directory.path(), reserve + (10 << 20));
        ASSERT_TRUE(append(other, 100));
        for (const int size : {60'000, 2000, 1})
            while (append(one, size))
                ++kept;
        ASSERT_GT(kept, 20);
    }
    qint64 computer(const QByteArray &name) {
        EXPECT_TRUE(store->computers.ask(name, name, {QString::fromLatin1(name), u"linux"_s, u"10.0.0.1"_s, 1, 100}));
        EXPECT_TRUE(*store->computers.decide(name, account, true, 2));
        return (*store->computers.look(name, name, u"calls"_s, 3))->computer->id;
    }
    bool append(qint64 computer, int size) {
        const Told told{
            .computer = computer, .received = 9, .message = EventMessage{u"result"_s, QString(size, u'x'), 9}};
        const auto appended = test::append(*store, {&told, 1});
        if (!appended)
            EXPECT_TRUE(isDiskFull(appended.error())) << appended.error().description.toStdString();
        return appended.has_value();
    }
    std::size_t itemsOf(qint64 computer) {
        std::size_t count = 0;
        qint64 last = 0;
        for (auto items = *store->history.itemsAfter(computer, 0, 1000); !items.empty();
             items = *store->history.itemsAfter(computer, last, 1000)) {
            count += items.size();
            last = items.back().number;
        }
        return count;
    }

    QTemporaryDir directory;
    std::unique_ptr<Store> store;
    std::optional<SmallDisk> disk;
    qint64 account = 0;
    qint64 one = 0;
    qint64 other = 0;
    int kept = 0;
};

TEST_F(FullDiskTest, WhatWasKeptIsThereAlsoAfterwards) {
    fill(RESERVE);
    EXPECT_EQ(itemsOf(one), static_cast<std::size_t>(kept));
    store.reset();
    disk.reset();
    auto opened = Store::open({.file = directory.filePath(u"service.sqlite"_s), .reserve = RESERVE});
    ASSERT_TRUE(opened) << opened.error().description.toStdString();
    store = *std::move(opened);
    EXPECT_EQ(itemsOf(one), static_cast<std::size_t>(kept));
    EXPECT_EQ(itemsOf(other), 1U);
}

TEST_F(FullDiskTest, ItIsOpenedOnAFullDisk) {
    fill(RESERVE);
    store.reset();
    QFile others(directory.filePath(u"of others"_s)); // have taken what was left
    ASSERT_TRUE(others.open(QFile::WriteOnly) && others.resize(SmallDisk::left()));
    auto opened = Store::open({.file = directory.filePath(u"service.sqlite"_s), .reserve = RESERVE});
    ASSERT_TRUE(opened) << opened.error().description.toStdString();
    store = *std::move(opened);
    EXPECT_EQ(itemsOf(one), static_cast<std::size_t>(kept));
    EXPECT_TRUE(store->history.forget(one, 0));
    EXPECT_TRUE(append(other, 60'000));
}

TEST_F(FullDiskTest, ForgettingOneComputerMakesRoomForAll) {
    fill(RESERVE);
    const auto forgotten = store->history.forget(one, 0);
    ASSERT_TRUE(forgotten) << forgotten.error().description.toStdString();
    EXPECT_EQ(itemsOf(one), 0U);
    EXPECT_EQ(itemsOf(other), 1U);
    for (int count = 0; count < 20; ++count)
        ASSERT_TRUE(append(other, 60'000)) << count;
}

TEST_F(FullDiskTest, WhatIsFreeInTheDatabaseIsUsedWithLittleRoomBesideIt) {
    constexpr qint64 LITTLE = 300'000; // less than what is written ahead takes before it is moved by itself
    fill(RESERVE);
    ASSERT_TRUE(store->history.forget(one, 0));
    store.reset(); // which leaves nothing written ahead
    auto opened = Store::open({.file = directory.filePath(u"service.sqlite"_s), .reserve = RESERVE});
    ASSERT_TRUE(opened) << opened.error().description.toStdString();
    store = *std::move(opened);
    QFile others(directory.filePath(u"of others"_s));
    ASSERT_TRUE(others.open(QFile::WriteOnly) && others.resize(SmallDisk::left() - LITTLE));
    for (int count = 0; count < 40; ++count)
        ASSERT_TRUE(append(other, 60'000)) << count;
}

TEST_F(FullDiskTest, ALowerLimitMakesRoomAndKeepsTheNewest) {
    fill(RESERVE);
    store->history.limit({.bytes = 1 << 20});
    for (bool more = true; more;) {
        const auto dropped = store->history.dropSurplus();
        ASSERT_TRUE(dropped) << dropped.error().description.toStdString();
        more = *dropped;
    }
    EXPECT_EQ(itemsOf(other), 1U) << "the other one has little";
    EXPECT_TRUE(append(one, 60'000));
    const auto items = *store->history.itemsAfter(one, kept - 1, 10);
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[1].number, kept + 1);
}

TEST_F(FullDiskTest, TheOwnerCanSignInToMakeRoom) {
    fill(RESERVE);
    EXPECT_TRUE(store->accounts.beginSession("session", account, 1, 100));
    EXPECT_TRUE(store->accounts.sessionOf("session", 50)->has_value());
}

TEST_F(FullDiskTest, WhatIsInTheJournalIsTakenInFromIt) {
    fill(RESERVE);
    const auto start = *store->beginJournal();
    const SegmentName name{start.name, newName()};
    const std::vector<Told> told(
        40, {.computer = other, .received = 9, .message = EventMessage{u"result"_s, QString(60'000, u'y'), 9}});
    QByteArray bytes = writtenHead(name);
    for (const auto &entry : Numbering(start.numbers).draft(told).entries)
        bytes += written(entry);
    ASSERT_TRUE(start.files[0]->append(bytes));
    store.reset();
    ASSERT_LT(SmallDisk::left(), 100'000);
    auto opened = Store::open({.file = directory.filePath(u"service.sqlite"_s), .reserve = RESERVE});
    ASSERT_TRUE(opened) << opened.error().description.toStdString();
    store = *std::move(opened);
    const auto taken = store->takeInJournal();
    ASSERT_TRUE(taken) << taken.error().description.toStdString();
    EXPECT_TRUE(taken->isEmpty());
    EXPECT_EQ(itemsOf(other), 41U);
    EXPECT_EQ(itemsOf(one), static_cast<std::size_t>(kept));
    EXPECT_TRUE(store->beginJournal());
    EXPECT_TRUE(store->history.forget(one, 0));
    EXPECT_TRUE(append(other, 60'000));
}

TEST_F(FullDiskTest, ItIsTheReserveThatDoesIt) {
    fill(0);
    EXPECT_FALSE(store->history.forget(one, 0));
    EXPECT_EQ(itemsOf(one), static_cast<std::size_t>(kept));
}

TEST(ReserveTest, ItIsAloneWhenNothingFitsBesideIt) {
    const QTemporaryDir directory;
    const auto file = directory.filePath(u"reserve"_s);
    Reserve reserve(file, 2 << 20);
    reserve.fill();
    EXPECT_FALSE(reserve.isAlone());
    {
        const test::Ceiling ceiling(2 << 20);
        EXPECT_TRUE(reserve.isAlone());
    }
    EXPECT_FALSE(reserve.isAlone());
    EXPECT_EQ(QFileInfo(file).size(), 2 << 20) << "it stays as it was";
}

} // namespace
