#include "service/store/Numbering.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

const QByteArray JPEG = QByteArray("\xFF\xD8\xFF\xE0", 4) + "picture";

Told event(const QString &kind, const QString &text, qint64 computer = 1) {
    return {.computer = computer, .received = 10, .message = EventMessage{kind, text, 10}};
}
Told picture(int step) {
    return {.computer = 1, .received = 10, .message = ScreenshotMessage{step, 10, JPEG}};
}
Told state(bool busy) {
    return {.computer = 1, .received = 10, .message = StateMessage{busy, 1, {}, false, {}}};
}

std::vector<Entry> take(Numbering &numbering, const std::vector<Told> &told) {
    auto draft = numbering.draft(told);
    auto entries = draft.entries;
    numbering.take(std::move(draft));
    return entries;
}

TEST(Numbering, NumbersTasksAndPicturesGoOnFromWhatThereIs) {
    Numbering numbering({.books = {{1, {.tasks = {}, .lastNumber = 40}}}, .lastTask = 8, .lastPicture = 15});
    const auto entries = take(numbering, {event(u"user"_s, u"web ❯ go"_s), picture(1), event(u"good"_s, u"a"_s, 2)});
    ASSERT_EQ(entries.size(), 3U);
    EXPECT_EQ(entries[0].item->number, 41);
    EXPECT_EQ(entries[0].item->task, 9);
    EXPECT_TRUE(entries[0].tasks[0].begun);
    EXPECT_EQ(entries[1].item->number, 42);
    EXPECT_EQ(entries[1].item->picture, 16);
    EXPECT_EQ(entries[1].jpeg, JPEG);
    EXPECT_EQ(entries[2].item->number, 1) << "of a computer that is new";
    EXPECT_EQ(take(numbering, {event(u"good"_s, u"b"_s)})[0].item->number, 43);
}

TEST(Numbering, WhatIsNotTakenUsesUpNothing) {
    Numbering numbering({});
    const std::vector<Told> told{event(u"user"_s, u"web ❯ go"_s), picture(1)};
    const auto dropped = numbering.draft(told);
    EXPECT_EQ(numbering.draft(told).entries, dropped.entries);
}

TEST(Numbering, WhatChangesNothingLeavesNothing) {
    Numbering numbering({});
    EXPECT_TRUE(take(numbering, {state(false)}).empty());
    EXPECT_TRUE(
        take(numbering, {{.computer = 1, .received = 10, .message = ScreenshotMessage{1, 10, "no JPEG"}}}).empty());
}

TEST(Numbering, AfterForgettingNothingBelongsToATaskOfBefore) {
    Numbering numbering({});
    take(numbering, {event(u"user"_s, u"web ❯ go"_s), event(u"good"_s, u"a"_s)});
    EXPECT_EQ(numbering.forget(1), 2);
    EXPECT_EQ(numbering.forget(99), 0) << "one that has told nothing";
    const auto entries = take(numbering, {event(u"good"_s, u"b"_s), state(false)});
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].item->number, 3);
    EXPECT_FALSE(entries[0].item->task);
}

} // namespace
