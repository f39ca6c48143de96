#include "tests/service/Append.h"
#include "tests/support/Wait.h"

#include <QTemporaryDir>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

const QByteArray JPEG = QByteArray("\xFF\xD8\xFF\xE0", 4) + "picture";

class HistoryTest : public ::testing::Test {
protected:
    void SetUp() override {
        store = *Store::open({directory.filePath(u"service.sqlite"_s)});
        one = computer("one");
        other = computer("other");
    }
    qint64 computer(const QByteArray &name) {
        if (!account)
            account = store->accounts.add(u"owner@example.org"_s, "hash", 1)->id;
        EXPECT_TRUE(store->computers.ask(name, name, {QString::fromLatin1(name), u"linux"_s, u"10.0.0.1"_s, 1, 100}));
        EXPECT_TRUE(*store->computers.decide(name, *account, true, 2));
        return (*store->computers.look(name, name, u"calls"_s, 3))->computer->id;
    }
    Told event(const QString &kind, const QString &text, double received = 10) const {
        return {.computer = one, .received = received, .message = EventMessage{kind, text, received}};
    }
    Told state(bool busy, int step, double received = 10) const {
        return {.computer = one, .received = received, .message = StateMessage{busy, step, {}, false, {}}};
    }
    Told picture(int step, double received = 10) const {
        return {.computer = one, .received = received, .message = ScreenshotMessage{step, received, JPEG}};
    }
    Appended append(const std::vector<Told> &told) {
        auto appended = test::append(*store, told);
        EXPECT_TRUE(appended) << appended.error().description.toStdString();
        return *std::move(appended);
    }
    std::vector<qint64> numbers(qint64 of, qint64 after = 0) {
        std::vector<qint64> all;
        for (auto some = *store->history.itemsAfter(of, after, 1000); !some.empty();
             some = *store->history.itemsAfter(of, all.back(), 1000))
            for (const auto &item : some)
                all.push_back(item.number);
        return all;
    }

    QTemporaryDir directory;
    std::unique_ptr<Store> store;
    std::optional<qint64> account;
    qint64 one = 0;
    qint64 other = 0;
};

TEST_F(HistoryTest, EachComputersItemsAreNumberedWithoutAGap) {
    auto elsewhere = event(u"good"_s, u"b"_s);
    elsewhere.computer = other;
    append({event(u"good"_s, u"a"_s), elsewhere, picture(1)});
    append({event(u"good"_s, u"c"_s)});
    EXPECT_EQ(numbers(one), (std::vector<qint64>{1, 2, 3}));
    EXPECT_EQ(numbers(other), std::vector<qint64>{1});
    EXPECT_EQ(numbers(one, 2), std::vector<qint64>{3});
    EXPECT_EQ(store->computers.find(one)->value().lastNumber, 3);
}

TEST_F(HistoryTest, AComputersTimeIsKeptAsItSaysIt) {
    append({event(u"good"_s, u"later"_s, 5000), event(u"good"_s, u"its clock was set back"_s, 1000)});
    const auto items = *store->history.itemsAfter(one, 0, 10);
    EXPECT_EQ(items[0].time, 5000);
    EXPECT_EQ(items[1].time, 1000);
    EXPECT_EQ(items[1].number, 2);
}

TEST_F(HistoryTest, TheLinesOfATaskAreItsAndThoseBetweenTasksAreNobodys) {
    append({event(u"good"_s, u"signed in"_s), state(true, 0), event(u"user"_s, u"web ❯ go"_s), state(true, 1),
            picture(1), event(u"good"_s, u"✓ gone"_s), state(false, 1), event(u"warn"_s, u"after"_s)});
    const auto items = *store->history.itemsAfter(one, 0, 10);
    const auto task = items[1].task;
    ASSERT_TRUE(task);
    EXPECT_FALSE(items[0].task);
    EXPECT_EQ(items[2].task, task);
    EXPECT_EQ(items[3].task, task);
    EXPECT_FALSE(items[4].task);
    const auto kept = store->history.task(*task)->value();
    EXPECT_EQ(kept.text, u"go"_s);
    EXPECT_EQ(kept.outcome, u"done"_s);
    EXPECT_EQ(kept.steps, 1);
    EXPECT_EQ(store->history.itemsOfTask(*task, 100)->items.size(), 3U);
}

TEST_F(HistoryTest, ALongTaskShowsItsEndAndSaysSo) {
    std::vector<Told> told{event(u"user"_s, u"web ❯ go"_s)};
    for (int line = 0; line < 20; ++line)
        told.push_back(event(u"result"_s, QString::number(line)));
    const auto task = *append(told).items.front().task;
    const auto shown = *store->history.itemsOfTask(task, 5);
    EXPECT_TRUE(shown.cut);
    ASSERT_EQ(shown.items.size(), 5U);
    EXPECT_EQ(shown.items.front().text, u"15"_s);
    EXPECT_FALSE(store->history.itemsOfTask(task, 21)->cut);
}

TEST_F(HistoryTest, ATaskThatRanWhenTheServiceEndedGoesOnWhenItsComputerSaysSo) {
    const auto task = *append({event(u"user"_s, u"web ❯ go"_s), state(true, 2)}).items.front().task;
    store.reset();
    store = *Store::open({directory.filePath(u"service.sqlite"_s)});
    EXPECT_EQ(store->history.task(task)->value().outcome, u"running"_s) << "others may open it beside a service";
    ASSERT_TRUE(store->history.begin());
    EXPECT_EQ(store->history.task(task)->value().outcome, u"unknown"_s);
    append({state(true, 3)});
    EXPECT_EQ(store->history.task(task)->value().outcome, u"running"_s);
    append({event(u"good"_s, u"✓ done"_s), state(false, 3)});
    EXPECT_EQ(store->history.task(task)->value().outcome, u"done"_s);
    EXPECT_EQ(store->history.task(task)->value().steps, 3);
}

TEST_F(HistoryTest, AComputerWasSeenWhenItToldSomethingLastBeforeAKill) {
    ASSERT_TRUE(store->computers.seen(one, 20));
    ASSERT_TRUE(store->computers.seen(other, 20));
    append({event(u"good"_s, u"a"_s, 30), event(u"good"_s, u"b"_s, 40)});
    store = *Store::open({directory.filePath(u"service.sqlite"_s)});
    ASSERT_TRUE(store->history.begin());
    EXPECT_EQ(store->computers.find(one)->value().seen, 40);
    EXPECT_EQ(store->computers.find(other)->value().seen, 20);
}

TEST_F(HistoryTest, ATextIsCutBetweenCharacters) {
    const auto item = append({event(u"result"_s, QString(MOST_TEXT, u'é'))}).items.front();
    EXPECT_EQ(item.text, QString(MOST_TEXT / 2, u'é'));
    EXPECT_EQ(item.cutFrom, 2 * MOST_TEXT);
}

TEST_F(HistoryTest, OneAnswerIsNotLongerThanItsTextsMayBeTogether) {
    std::vector<Told> told(50, event(u"result"_s, QString(MOST_TEXT, u'x')));
    append(told);
    const auto some = *store->history.itemsAfter(one, 0, 200);
    EXPECT_EQ(some.size(), 4U);
    EXPECT_EQ(some.back().number, 4);
}

TEST_F(HistoryTest, OldLinesAndPicturesAreDroppedAndNewOnesStay) {
    append({event(u"good"_s, u"old"_s, 100), picture(1, 100), event(u"good"_s, u"new"_s, 200), picture(2, 200)});
    EXPECT_FALSE(*store->history.dropOld(one, 150, 1000));
    EXPECT_EQ(numbers(one), (std::vector<qint64>{3, 4}));
    const auto left = *store->history.itemsAfter(one, 0, 10);
    EXPECT_TRUE(store->history.picture(*left.back().picture)->has_value());
    EXPECT_FALSE(store->history.picture(*left.back().picture - 1)->has_value());
    append({event(u"good"_s, u"next"_s, 300)});
    EXPECT_EQ(numbers(one).back(), 5);
}

TEST_F(HistoryTest, MorePicturesThanAreKeptLoseTheOldest) {
    append({picture(1), picture(2), picture(3)});
    store->history.limit({.pictures = 2});
    EXPECT_FALSE(*store->history.dropSurplus(one));
    const auto items = *store->history.itemsAfter(one, 0, 10);
    ASSERT_EQ(items.size(), 3U);
    EXPECT_FALSE(store->history.picture(*items[0].picture)->has_value());
    EXPECT_TRUE(store->history.picture(*items[1].picture)->has_value());
    EXPECT_TRUE(store->history.picture(*items[2].picture)->has_value());
}

TEST_F(HistoryTest, ManyOldLinesAreDroppedPieceByPiece) {
    append(std::vector<Told>(4500, event(u"result"_s, u"x"_s, 100)));
    EXPECT_TRUE(*store->history.dropOld(one, 150, 1000));
    EXPECT_TRUE(*store->history.dropOld(one, 150, 1000));
    EXPECT_TRUE(*store->history.dropOld(one, 150, 1000));
    EXPECT_FALSE(*store->history.dropOld(one, 150, 1000));
    EXPECT_TRUE(numbers(one).empty());
}

TEST_F(HistoryTest, AClockThatWasWrongDropsNothingThatIsNotOld) {
    append(
        {event(u"good"_s, u"in time"_s, 200), event(u"good"_s, u"set back"_s, 1), event(u"good"_s, u"again"_s, 210)});
    EXPECT_FALSE(*store->history.dropOld(one, 150, 300));
    EXPECT_EQ(numbers(one), (std::vector<qint64>{1, 2, 3}));
}

TEST_F(HistoryTest, AClockThatWasAheadKeepsNothingForEver) {
    append({event(u"good"_s, u"old"_s, 100), event(u"good"_s, u"ahead"_s, 9000), event(u"good"_s, u"old, too"_s, 110),
            event(u"good"_s, u"ahead and nothing old behind it"_s, 9000), event(u"good"_s, u"new"_s, 200)});
    EXPECT_FALSE(*store->history.dropOld(one, 150, 300));
    EXPECT_EQ(numbers(one), (std::vector<qint64>{4, 5}));
}

TEST_F(HistoryTest, ItsDayFollowsTheClockByNoMoreThanItMay) {
    EXPECT_EQ(*store->history.today(1000, 0), 1000);
    EXPECT_EQ(*store->history.today(9000, 0), 1000);
    EXPECT_EQ(*store->history.today(9000, 100), 1100);
    store = *Store::open({directory.filePath(u"service.sqlite"_s)});
    EXPECT_EQ(*store->history.today(9000, 0), 1100) << "as it was";
    EXPECT_EQ(*store->history.today(1150, 100), 1150) << "the clock was put right";
    EXPECT_EQ(*store->history.today(500, 100), 500);
}

TEST_F(HistoryTest, ATaskStaysAsLongAsALineOfIt) {
    const auto task =
        *append({event(u"user"_s, u"web ❯ go"_s, 100), event(u"good"_s, u"✓ gone"_s, 200), state(false, 0, 1)})
             .items.front()
             .task;
    EXPECT_EQ(store->history.task(task)->value().ended, 100) << "not before it began";
    EXPECT_FALSE(*store->history.dropOld(one, 150, 1000));
    EXPECT_EQ(numbers(one), std::vector<qint64>{2});
    EXPECT_TRUE(store->history.task(task)->has_value());
    EXPECT_TRUE(*store->history.dropOld(one, 250, 1000));
    EXPECT_FALSE(store->history.task(task)->has_value());
}

TEST_F(HistoryTest, WhatIsToldPastTheLimitPushesOutTheOldestOfWhoHasMost) {
    auto elsewhere = event(u"good"_s, u"little"_s);
    elsewhere.computer = other;
    append({elsewhere});
    store->history.limit({.bytes = 1'000'000});
    for (int number = 0; number < 100; ++number)
        append({event(u"result"_s, QString(30'000, u'x')), picture(1)});
    EXPECT_EQ(numbers(other), std::vector<qint64>{1});
    const auto left = numbers(one);
    EXPECT_EQ(left.back(), 200);
    EXPECT_LE(left.size(), 66U);
    EXPECT_GE(left.size(), 60U);
    EXPECT_EQ(left.back() - left.front() + 1, static_cast<qint64>(left.size())) << "a gap";
}

TEST_F(HistoryTest, ManyTasksArePushedOutWithTheirLines) {
    store->history.limit({.bytes = 1'000'000});
    qint64 first = 0;
    for (int number = 0; number < 100; ++number) {
        const auto task = *append({event(u"user"_s, u"web ❯ "_s + QString(30'000, u'x'))}).items.front().task;
        first = first ? first : task;
    }
    EXPECT_FALSE(store->history.task(first)->has_value());
    EXPECT_TRUE(store->history.task(first + 99)->has_value());
    EXPECT_LE(store->history.tasks({.computer = one, .words = {}, .before = {}, .most = 200})->size(), 17U);
}

TEST_F(HistoryTest, TheLimitIsThatOfAllTogether) {
    store->history.limit({.bytes = 1'000'000});
    auto elsewhere = event(u"result"_s, QString(30'000, u'x'));
    elsewhere.computer = other;
    for (int number = 0; number < 20; ++number)
        append({event(u"result"_s, QString(30'000, u'x'))});
    for (int number = 0; number < 20; ++number)
        append({elsewhere});
    EXPECT_LE(numbers(one).size() + numbers(other).size(), 33U);
    EXPECT_GE(numbers(one).size() + numbers(other).size(), 30U);
}

TEST_F(HistoryTest, PicturesPastTheLimitAreNeverKept) {
    store->history.limit({.pictures = 2});
    const auto items = append({picture(1), picture(2), picture(3)}).items;
    EXPECT_FALSE(store->history.picture(*items[0].picture)->has_value());
    EXPECT_TRUE(store->history.picture(*items[1].picture)->has_value());
}

TEST_F(HistoryTest, WhatIsForgottenCountsNoMore) {
    store->history.limit({.bytes = 100'000});
    append({event(u"user"_s, u"web ❯ go"_s), event(u"result"_s, QString(50'000, u'x')), picture(1)});
    ASSERT_TRUE(store->history.forget(one, 0));
    append({event(u"result"_s, QString(60'000, u'y')), event(u"result"_s, QString(30'000, u'z'))});
    EXPECT_EQ(numbers(one).size(), 2U);
}

} // namespace
