#include "service/store/TaskBook.h"

#include <gtest/gtest.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

EventMessage event(const QString &kind, const QString &text) {
    return {kind, text, 1};
}

// The outcome of a task with these lines, once the computer is no longer busy.
TaskRecord after(const std::vector<EventMessage> &lines) {
    TaskBook book;
    book.begin(*TaskBook::begunBy(event(u"user"_s, u"web ❯ go"_s), 5));
    for (const auto &line : lines)
        book.note(line);
    book.note(StateMessage{}, 9);
    return *book.task();
}

TEST(TaskBook, ATaskIsNamedByItsLineAndComesFromOneOfThreeDoors) {
    const auto web = TaskBook::begunBy(event(u"user"_s, u"web ❯ a ❯ b"_s), 5);
    EXPECT_EQ(web->text, u"a ❯ b"_s);
    EXPECT_EQ(web->from, u"web"_s);
    EXPECT_EQ(web->began, 5);
    EXPECT_EQ(TaskBook::begunBy(event(u"user"_s, u"you ❯ a"_s), 5)->from, u"terminal"_s);
    const auto phone = TaskBook::begunBy(event(u"call"_s, u"☎ Ann ❯ read my mail"_s), 5);
    EXPECT_EQ(phone->from, u"phone"_s);
    EXPECT_EQ(phone->text, u"read my mail"_s);
}

TEST(TaskBook, OtherLinesBeginNone) {
    EXPECT_FALSE(TaskBook::begunBy(event(u"call"_s, u"☎ spoken reply: done"_s), 5));
    EXPECT_FALSE(TaskBook::begunBy(event(u"claude"_s, u"web ❯ go"_s), 5));
}

TEST(TaskBook, TheLastLineThatSaysHowItEndedCounts) {
    EXPECT_EQ(after({event(u"good"_s, u"✓ It is done."_s)}).outcome, u"done"_s);
    EXPECT_EQ(after({event(u"good"_s, u"✓ It is done."_s)}).answer, u"It is done."_s);
    EXPECT_EQ(after({event(u"claude"_s, u"claude: Which one?"_s)}).outcome, u"answered"_s);
    EXPECT_EQ(after({event(u"claude"_s, u"claude: Which one?"_s)}).answer, u"Which one?"_s);
    EXPECT_EQ(after({event(u"warn"_s, u"Stop pressed on the website — cancelling"_s), event(u"warn"_s, u"cancelled"_s)})
                  .outcome,
              u"stopped"_s);
    EXPECT_EQ(after({event(u"bad"_s, u"✗ something went wrong"_s)}).outcome, u"failed"_s);
    EXPECT_EQ(after({event(u"warn"_s, u"── hit max steps (15) — type a follow-up to continue"_s)}).outcome,
              u"unfinished"_s);
    EXPECT_EQ(after({}).outcome, u"unknown"_s);
    EXPECT_EQ(after({event(u"claude"_s, u"claude: next"_s), event(u"code"_s, u"script:\nbeep"_s)}).outcome,
              u"unknown"_s);
    EXPECT_EQ(after({event(u"bad"_s, u"✗ script failed"_s), event(u"good"_s, u"✓ after all"_s)}).outcome, u"done"_s);
    EXPECT_EQ(after({}).ended, 9);
}

TEST(TaskBook, ATaskThatIsLostGoesOnWhenTheComputerIsStillBusy) {
    TaskBook book;
    book.begin(*TaskBook::begunBy(event(u"user"_s, u"web ❯ go"_s), 5));
    EXPECT_TRUE(book.lose(7));
    EXPECT_EQ(book.task()->outcome, u"unknown"_s);
    EXPECT_TRUE(book.note(StateMessage{true, 4, {}, false, {}}, 8));
    EXPECT_TRUE(book.isRunning());
    EXPECT_EQ(book.task()->steps, 4);
}

TEST(TaskBook, ATaskThatEndedWhileTheChannelWasLostStaysUnknown) {
    TaskBook book;
    book.begin(*TaskBook::begunBy(event(u"user"_s, u"web ❯ go"_s), 5));
    book.lose(7);
    EXPECT_FALSE(book.note(StateMessage{}, 8));
    EXPECT_FALSE(book.note(StateMessage{true, 1, {}, false, {}}, 9)) << "that is another task";
    EXPECT_FALSE(book.isRunning());
}

TEST(TaskBook, AnAnswerThatCameBeforeTheChannelWasLostCounts) {
    TaskBook book;
    book.begin(*TaskBook::begunBy(event(u"user"_s, u"web ❯ go"_s), 5));
    book.note(event(u"good"_s, u"✓ It is done."_s));
    book.lose(7);
    EXPECT_EQ(book.task()->outcome, u"done"_s);
    EXPECT_FALSE(book.isLost());
}

} // namespace
