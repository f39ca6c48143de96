// What is in the journal of a service that was killed, at each moment, and what becomes of it at the next start.
#include "service/store/Leftover.h"

#include "tests/service/Append.h"
#include "tests/support/Wait.h"

#include <QFile>
#include <QTemporaryDir>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

const QByteArray JPEG = QByteArray("\xFF\xD8\xFF\xE0", 4) + "picture";

// The files of a database and its journal, as a kill leaves them.
std::map<QString, QByteArray> filesOf(const QString &database) {
    std::map<QString, QByteArray> all;
    auto paths = QStringList{database, database + u"-wal"_s};
    for (const auto &journal : JournalFile::of(database))
        paths.append(journal);
    for (const auto &path : paths) {
        QFile file(path);
        if (file.open(QFile::ReadOnly))
            all[path] = file.readAll();
    }
    return all;
}
void putBack(const QString &database, const std::map<QString, QByteArray> &files) {
    QFile::remove(database + u"-shm"_s);
    QFile::remove(database + u"-wal"_s);
    for (const auto &[path, bytes] : files) {
        QFile file(path);
        ASSERT_TRUE(file.open(QFile::WriteOnly) && file.write(bytes) == bytes.size());
    }
}

class LeftoverTest : public ::testing::Test {
protected:
    void SetUp() override {
        store = *Store::open({file});
        const auto account = store->accounts.add(u"owner@example.org"_s, "hash", 1)->id;
        ASSERT_TRUE(store->computers.ask("one", "one", {u"one"_s, u"linux"_s, u"10.0.0.1"_s, 1, 100}));
        ASSERT_TRUE(*store->computers.decide("one", account, true, 2));
        one = (*store->computers.look("one", "one", u"calls"_s, 3))->computer->id;
        begin();
    }
    // As a service does when it starts; the words say what was left out.
    QStringList begin() {
        store.reset();
        store = *Store::open({file});
        const auto words = store->takeInJournal();
        EXPECT_TRUE(words) << words.error().description.toStdString();
        start = *store->beginJournal();
        numbering.emplace(start.numbers);
        name = {start.name, newName()};
        writing = 0;
        return *words;
    }
    // Writes what was told to the journal, and gives what became of it.
    std::vector<Entry> tell(const std::vector<Told> &told) {
        auto draft = numbering->draft(told);
        auto entries = draft.entries;
        numbering->take(std::move(draft));
        for (const auto &entry : entries) {
            auto &journal = *start.files[writing];
            EXPECT_TRUE(journal.append(journal.isEmpty() ? writtenHead(name) + written(entry) : written(entry)));
        }
        return entries;
    }
    void nextPart() {
        name = {name.next, newName()};
        writing = 1 - writing;
    }
    Told line(const QString &text) const {
        return {.computer = one, .received = 10, .message = EventMessage{u"result"_s, text, 10}};
    }
    Told task(const QString &text) const {
        return {.computer = one, .received = 10, .message = EventMessage{u"user"_s, u"web ❯ "_s + text, 10}};
    }
    Told picture() const { return {.computer = one, .received = 10, .message = ScreenshotMessage{1, 10, JPEG}}; }
    QStringList kept() {
        QStringList texts;
        for (auto items = *store->history.itemsAfter(one, 0, 1000); !items.empty();
             items = *store->history.itemsAfter(one, texts.size(), 1000))
            for (const auto &item : items) {
                texts.append(item.text);
                EXPECT_EQ(item.number, texts.size()) << "a gap or a double";
            }
        return texts;
    }
    bool isEmpty() const {
        return std::ranges::all_of(JournalFile::of(file), [](const QString &path) { return QFile(path).size() == 0; });
    }

    QTemporaryDir directory;
    QString file = directory.filePath(u"service.sqlite"_s);
    std::unique_ptr<Store> store;
    qint64 one = 0;
    JournalStart start;
    std::optional<Numbering> numbering;
    SegmentName name;
    std::size_t writing = 0;
};

TEST_F(LeftoverTest, APartThatIsMovedAgainLeavesTasksAsTheyStand) {
    const Told busy{.computer = one, .received = 10, .message = StateMessage{true, 1, {}, false, {}}};
    const auto entries = tell({task(u"go"_s), busy, picture(), task(u"next"_s), line(u"b"_s)});
    const auto first = entries.front().tasks.front().task.id;
    for (int times = 0; times < 2; ++times) { // the file could not be emptied in between
        ASSERT_TRUE(store->history.keep(entries, name));
        EXPECT_TRUE((*store->history.task(first))->ended) << times;
    }
    EXPECT_EQ(kept().size(), 4);
}

TEST_F(LeftoverTest, WhatWasWrittenIsTakenInWithTheNumbersThatWereShown) {
    const auto shown = tell({task(u"go"_s), picture(), line(u"b"_s)});
    EXPECT_TRUE(kept().isEmpty());
    EXPECT_TRUE(begin().isEmpty());
    EXPECT_EQ(kept(), (QStringList{u"web ❯ go"_s, {}, u"b"_s}));
    EXPECT_EQ(store->history.task(*shown[0].item->task)->value().text, u"go"_s);
    EXPECT_EQ(store->history.picture(*shown[1].item->picture)->value().jpeg, JPEG);
    EXPECT_TRUE(isEmpty());
    const auto next = tell({task(u"on"_s), picture()});
    EXPECT_EQ(next[0].item->number, 4);
    EXPECT_GT(*next[0].item->task, *shown[0].item->task);
    EXPECT_GT(*next[1].item->picture, *shown[1].item->picture);
}

TEST_F(LeftoverTest, BothPartsAreTakenInInTheirOrder) {
    tell({task(u"go"_s), line(u"a"_s)});
    nextPart();
    tell({line(u"b"_s), picture()});
    EXPECT_TRUE(begin().isEmpty());
    EXPECT_EQ(kept(), (QStringList{u"web ❯ go"_s, u"a"_s, u"b"_s, {}}));
    EXPECT_TRUE(isEmpty());
}

TEST_F(LeftoverTest, WhatWasKeptBeforeItsFileWasEmptiedIsNotKeptTwice) {
    const auto entries = tell({task(u"go"_s), line(u"a"_s)});
    ASSERT_TRUE(store->history.keep(entries, name));
    nextPart();
    tell({line(u"b"_s)});
    EXPECT_TRUE(begin().isEmpty());
    EXPECT_EQ(kept(), (QStringList{u"web ❯ go"_s, u"a"_s, u"b"_s}));
    EXPECT_TRUE(isEmpty());
}

TEST_F(LeftoverTest, WhatWasKeptAndDroppedSinceDoesNotComeBack) {
    const auto entries = tell({line(u"a"_s)});
    ASSERT_TRUE(store->history.keep(entries, name));
    ASSERT_TRUE(store->history.forget(one, 1));
    EXPECT_TRUE(begin().isEmpty());
    EXPECT_TRUE(store->history.itemsAfter(one, 0, 10)->empty());
}

TEST_F(LeftoverTest, WhatWasForgottenBeforeItWasKeptDoesNotComeBack) {
    tell({task(u"go"_s), line(u"a"_s)});
    ASSERT_TRUE(store->history.forget(one, numbering->forget(one)));
    tell({line(u"b"_s)});
    EXPECT_TRUE(begin().isEmpty());
    const auto items = *store->history.itemsAfter(one, 0, 10);
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].text, u"b"_s);
    EXPECT_EQ(items[0].number, 3);
    EXPECT_EQ(*store->history.countTasks(one), 0);
}

TEST_F(LeftoverTest, AKillWhileItIsTakenInDoesNoHarm) {
    // Two pieces of a part, and a second part.
    tell(std::vector<Told>(130, line(QString(60'000, u'x'))));
    nextPart();
    tell({line(u"last"_s)});
    const auto journals = filesOf(file);
    // All moments between two commits: after so many entries of the first part, or of both.
    auto left = readLeftovers(file);
    const auto entries = left[0].segment->entries;
    const auto names = std::pair(left[0].segment->name, left[1].segment->name);
    struct Moment {
        std::size_t count;
        bool first;
        bool second;
    };
    for (const auto &[count, first, second] :
         {Moment{0, false, false}, Moment{100, false, false}, Moment{130, true, false}, Moment{130, true, true}}) {
        store.reset();
        putBack(file, journals);
        store = *Store::open({file});
        if (count > 0) { // a piece that is not the last one leaves the name as it is
            const auto wanted = store->history.parts()->next;
            ASSERT_TRUE(
                store->history.keep(std::span(entries).first(count), first ? names.first : SegmentName{{}, wanted}));
        }
        if (second)
            ASSERT_TRUE(store->history.keep(left[1].segment->entries, names.second));
        if (second) // the first one is emptied before the second one is taken in
            QFile::resize(left[0].file, 0);
        EXPECT_TRUE(begin().isEmpty()) << count;
        const auto texts = kept();
        ASSERT_EQ(texts.size(), 131) << count;
        EXPECT_EQ(texts.last(), u"last"_s);
        EXPECT_TRUE(isEmpty());
    }
}

TEST_F(LeftoverTest, ATornEntryIsDroppedAndWhatStandsBeforeItIsKept) {
    tell({line(u"a"_s), line(u"b"_s)});
    const auto journals = filesOf(file);
    const auto whole = journals.at(JournalFile::of(file)[0]);
    const auto last = written(readLeftovers(file)[0].segment->entries[1]);
    for (qsizetype missing = 1; missing <= last.size(); ++missing) {
        store.reset();
        putBack(file, journals);
        ASSERT_TRUE(QFile::resize(JournalFile::of(file)[0], whole.size() - missing));
        EXPECT_TRUE(begin().isEmpty());
        ASSERT_EQ(kept(), QStringList{u"a"_s}) << missing;
    }
    EXPECT_EQ(tell({line(u"c"_s)})[0].item->number, 2);
}

TEST_F(LeftoverTest, AJournalOfAnotherTimeOfTheDatabaseIsLeftOut) {
    tell({line(u"a"_s)});
    begin();
    store.reset(); // leaves one file
    QFile database(file);
    ASSERT_TRUE(database.open(QFile::ReadOnly));
    const auto copy = database.readAll();
    database.close();
    begin();
    tell({line(u"b"_s)});
    begin();
    tell({line(u"c"_s)});
    store.reset();
    ASSERT_TRUE(database.open(QFile::WriteOnly | QFile::Truncate) && database.write(copy) == copy.size());
    database.close();
    const auto words = begin();
    ASSERT_EQ(words.size(), 1);
    const auto journal = JournalFile::of(file)[0];
    EXPECT_EQ(words[0],
              u"The journal %1 is left out: it does not continue this database. It is %1.left-out now."_s.arg(journal));
    EXPECT_EQ(kept(), QStringList{u"a"_s});
    EXPECT_EQ(readSegment([&] {
                  QFile aside(journal + u".left-out"_s);
                  EXPECT_TRUE(aside.open(QFile::ReadOnly));
                  return aside.readAll();
              }())
                  ->value()
                  .entries.size(),
              1U)
        << "as it was";
    EXPECT_TRUE(isEmpty());
}

TEST_F(LeftoverTest, WhatIsNoJournalIsLeftOut) {
    for (const auto &[bytes, why] :
         {std::pair(QByteArray("garbage"), u"it is something else's"_s),
          std::pair(QByteArray("ombru journal 9\nwhatever this is"), u"a newer ombru-service wrote it"_s)}) {
        QFile journal(JournalFile::of(file)[1]);
        ASSERT_TRUE(journal.open(QFile::WriteOnly) && journal.write(bytes) > 0);
        journal.close();
        const auto words = begin();
        ASSERT_EQ(words.size(), 1);
        EXPECT_TRUE(words[0].contains(why)) << words[0].toStdString();
        QFile aside(journal.fileName() + u".left-out"_s);
        ASSERT_TRUE(aside.open(QFile::ReadOnly));
        EXPECT_EQ(aside.readAll(), bytes);
    }
    tell({line(u"a"_s)});
    EXPECT_TRUE(begin().isEmpty());
    EXPECT_EQ(kept(), QStringList{u"a"_s});
}

TEST_F(LeftoverTest, AJournalThatContradictsItsDatabaseIsLeftOutAndTheServiceStarts) {
    auto entries = tell({task(u"go"_s)});
    auto &journal = *start.files[0];
    entries[0].item->number = 2; // the same task begins once more
    ASSERT_TRUE(journal.append(written(entries[0])));
    const auto words = begin();
    ASSERT_EQ(words.size(), 1);
    EXPECT_TRUE(words[0].contains(u"it contradicts the database"_s)) << words[0].toStdString();
    EXPECT_TRUE(kept().isEmpty());
}

TEST_F(LeftoverTest, WhatAComputerThatIsNotThereHasToldIsPassedOver) {
    auto of = line(u"nobody's"_s);
    of.computer = 99;
    tell({of, line(u"a"_s)});
    EXPECT_TRUE(begin().isEmpty());
    EXPECT_EQ(kept(), QStringList{u"a"_s});
}

TEST_F(LeftoverTest, ACopyHasWhatWasToldBeforeAndNoMoreOfTheJournalContinuesIt) {
    const auto copy = directory.filePath(u"copy"_s);
    tell({line(u"a"_s)});
    nextPart();
    tell({line(u"b"_s)});
    ASSERT_TRUE(Store::backup(file, copy));
    tell({line(u"later"_s)});
    EXPECT_TRUE(kept().isEmpty()) << "it changes nothing of what it is made of";
    const auto journals = filesOf(file);
    begin();
    EXPECT_EQ(kept(), (QStringList{u"a"_s, u"b"_s, u"later"_s}));
    store.reset();
    putBack(file, journals); // the journal as it was, and the copy in the place of its database
    QFile::remove(file + u"-wal"_s);
    QFile::remove(file);
    ASSERT_TRUE(QFile::copy(copy, file));
    EXPECT_EQ(begin().size(), 2);
    EXPECT_EQ(kept(), (QStringList{u"a"_s, u"b"_s}));
}

TEST_F(LeftoverTest, APutBackCopyHasNoJournal) {
    const auto copy = directory.filePath(u"copy"_s);
    tell({line(u"a"_s)});
    ASSERT_TRUE(Store::backup(file, copy));
    tell({line(u"later"_s)});
    store.reset();
    ASSERT_TRUE(Store::restore(copy, file));
    EXPECT_TRUE(begin().isEmpty());
    EXPECT_EQ(kept(), QStringList{u"a"_s});
}

TEST_F(LeftoverTest, ACopyOfADatabaseWithoutAJournalIsOne) {
    const auto copy = directory.filePath(u"copy"_s);
    store.reset();
    {
        const auto database = Database::open(file, Database::Mode::existing);
        ASSERT_TRUE((*database)->script("DROP TABLE journal; PRAGMA user_version = 3"));
    }
    for (const auto &journal : JournalFile::of(file))
        QFile::remove(journal);
    ASSERT_TRUE(Store::backup(file, copy));
    ASSERT_TRUE(Store::restore(copy, file));
    EXPECT_TRUE(begin().isEmpty());
    tell({line(u"a"_s)});
    begin();
    EXPECT_EQ(kept(), QStringList{u"a"_s});
}

} // namespace
