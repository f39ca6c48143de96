#include "tests/controller/LoopFixture.h"

#include <atomic>

using namespace ombru;
using namespace Qt::StringLiterals;
using Outcome = TaskResult::Outcome;

namespace {
const QString RULE = QString(40, u'─');
} // namespace

using TaskDesktopTest = test::LoopFixture;

TEST_F(TaskDesktopTest, ADesktopThatAnotherProcessUsesEndsTheTaskLikeAnyFailure) {
    FakePlatform::instance().desktopLock = [] { return std::optional<DesktopLock>(); };
    QStringList order;
    state->setWebChannel([&](const AgentMessage &told) {
        const auto message = toJson(told);
        order.append(message[u"type"_s].toString() + u' ' +
                     (message.contains(u"busy"_s) ? QString::number(message[u"busy"_s].toBool())
                                                  : message[u"kind"_s].toString()));
    });
    state->setWebChannelOpen(true);
    QStringList spoken;
    EXPECT_TRUE(state->startTask(u"go"_s, u"Ann"_s, {}, [&](const QString &answer) { spoken.append(answer); }));
    EXPECT_TRUE(state->busy);
    EXPECT_EQ(finish(), (TaskResult{Outcome::desktopInUse, u"Sorry, something went wrong on the computer."_s}));
    const auto words =
        u"✗ Another task is running on this desktop. Wait for it, or stop it with Ctrl-C where it was started."_s;
    EXPECT_EQ(events, (QStringList{u"call: ☎ Ann ❯ go"_s, u"bad: "_s + words,
                                   u"call: ☎ spoken reply: Sorry, something went wrong on the computer."_s}));
    EXPECT_EQ(state->status(), words);
    EXPECT_EQ(state->taskActivity(), u"Something went wrong"_s);
    EXPECT_EQ(order, (QStringList{u"state 1"_s, u"event call"_s, u"event bad"_s, u"state 0"_s, u"event call"_s}));
    EXPECT_EQ(spoken, QStringList{u"Sorry, something went wrong on the computer."_s});
    EXPECT_EQ(claude.calls(), 0);
    EXPECT_FALSE(QDir(AppState::workDir() + u"/screenshots"_s).exists()) << "nothing was looked at";
}

TEST_F(TaskDesktopTest, TheDesktopIsHeldFromTheFirstStepToTheEnd) {
    const auto asked = std::make_shared<std::atomic<int>>(0);
    const auto onMain = std::make_shared<std::atomic<bool>>(false);
    const auto held = std::make_shared<int>();
    FakePlatform::instance().desktopLock = [asked, onMain, held] {
        ++*asked;
        *onMain = isMainThread();
        return DesktopLock(held);
    };
    const long unused = held.use_count();
    long atTheFirstPicture = 0;
    long atTheAnswer = 0;
    const auto listening = state->onEvent([&](const Event &event) {
        if (event.text.startsWith(u"── step 1/"_s))
            atTheFirstPicture = held.use_count();
        if (event.kind == EventKind::good)
            atTheAnswer = held.use_count();
    });
    long whenIdle = 0;
    const auto watched = state->onWillChange([&] { whenIdle = held.use_count(); });
    reply({block(u"one"_s), u"DONE: ok"_s, u"DONE: ok"_s});
    runTask(u"go"_s);
    EXPECT_GT(atTheFirstPicture, unused);
    EXPECT_GT(atTheAnswer, unused);
    EXPECT_EQ(whenIdle, unused) << "it is given back before others hear that the task is over";
    EXPECT_EQ(*asked, 1);
    EXPECT_FALSE(*onMain) << "the main thread waits for no display";
    runTask(u"again"_s);
    EXPECT_EQ(*asked, 2);
}

TEST_F(TaskDesktopTest, ADesktopThatCannotBeLockedEndsTheTaskWithItsWords) {
    FakePlatform::instance().desktopLock = []() -> Result<std::optional<DesktopLock>> {
        return std::unexpected(Failure{u"desktop"_s, 13, u"Cannot write it."_s});
    };
    EXPECT_EQ(runTask(u"go"_s).outcome, Outcome::failed);
    EXPECT_EQ(events.last(), u"bad: ✗ Cannot write it."_s);
    EXPECT_EQ(claude.calls(), 0);
}

TEST_F(TaskDesktopTest, ADesktopThatDoesNotAnswerFailsLikeOneThatCannotBeSeen) {
    ManualClock clock;
    const auto release = std::make_shared<std::atomic<bool>>(false);
    const auto waiting = std::make_shared<std::atomic<bool>>(false);
    FakePlatform::instance().desktopLock = [release, waiting] {
        *waiting = true;
        release->wait(false);
        return DesktopLock();
    };
    state->startTask(u"go"_s);
    EXPECT_TRUE(test::waitUntil([&] { return waiting->load(); }));
    clock.advance(std::chrono::milliseconds(14'999));
    test::settle();
    EXPECT_TRUE(state->busy);
    clock.advance(std::chrono::milliseconds(1));
    EXPECT_EQ(finish().outcome, Outcome::failed);
    EXPECT_TRUE(events.at(events.size() - 2).startsWith(u"bad: ✗ screenshot failed — "_s));
    EXPECT_TRUE(events.last().contains(u"does not answer: it hangs."_s)) << events.last().toStdString();
    *release = true;
    release->notify_all();
}

TEST_F(TaskDesktopTest, ALockThatComesTooLateIsGivenBackAtOnce) {
    const auto release = std::make_shared<std::atomic<bool>>(false);
    const auto waiting = std::make_shared<std::atomic<bool>>(false);
    const auto held = std::make_shared<int>();
    FakePlatform::instance().desktopLock = [release, waiting, held] {
        *waiting = true;
        release->wait(false);
        return DesktopLock(held);
    };
    const long unused = held.use_count();
    state->startTask(u"go"_s);
    ASSERT_TRUE(test::waitUntil([&] { return waiting->load(); }));
    state->cancelTask();
    EXPECT_EQ(finish().outcome, Outcome::cancelled);
    *release = true;
    release->notify_all();
    ASSERT_TRUE(finishBackground(std::chrono::minutes(1)));
    EXPECT_EQ(held.use_count(), unused) << "the next task may ask before this one's thread reports";
}
