#include "app/lifecycle/AtWork.h"

#include "tests/controller/LinkFixture.h"
#include "tests/support/PassTime.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class AtWorkTest : public LinkFixture {
protected:
    AtWorkTest() { answerQuestions({u"DONE: well"_s}, true); }

    void start() {
        ASSERT_TRUE(state->startTask(u"something"_s));
        atWork.follow();
    }
    void finish() {
        go();
        EXPECT_TRUE(waitUntil([&] { return !state->busy; }));
        atWork.follow();
    }
    static auto &key() { return FakePlatform::instance().stopKey; }
    static auto &input() { return FakePlatform::instance().syntheticInput; }

    int changes = 0;
    AtWork atWork{*state, [this] { ++changes; }};
};

} // namespace

TEST_F(AtWorkTest, TheKeyIsThereOnlyWhileATaskRuns) {
    EXPECT_FALSE(key());
    start();
    ASSERT_TRUE(key());
    EXPECT_EQ(key()->keys.text(), u"Ctrl+Shift+Escape");
    finish();
    EXPECT_FALSE(key());
    EXPECT_FALSE(input());
}

TEST_F(AtWorkTest, TheKeyStopsTheTask) {
    start();
    key()->press();
    EXPECT_TRUE(state->cancelling || !state->busy);
    EXPECT_TRUE(waitUntil([&] { return !state->busy; }));
}

TEST_F(AtWorkTest, TheOwnersChoiceCountsFromTheNextTaskOn) {
    EXPECT_TRUE(state->settings.stopKey.write(u"Alt+F8"_s));
    start();
    EXPECT_EQ(key()->keys.text(), u"Alt+F8");
    finish();
}

TEST_F(AtWorkTest, WhoWantsNoKeyHasNone) {
    EXPECT_TRUE(state->settings.stopKey.write(QString()));
    start();
    EXPECT_FALSE(key());
    finish();
}

TEST_F(AtWorkTest, WhatIsTypedMarksTheIconForAMoment) {
    start();
    ManualClock clock;
    EXPECT_FALSE(atWork.isMarked());
    input()();
    EXPECT_TRUE(atWork.isMarked());
    EXPECT_EQ(changes, 1);
    clock.advance(std::chrono::milliseconds(900));
    settle();
    input()();
    EXPECT_EQ(changes, 1);
    clock.advance(std::chrono::milliseconds(900));
    settle();
    EXPECT_TRUE(atWork.isMarked());
    clock.advance(std::chrono::milliseconds(200));
    settle();
    EXPECT_FALSE(atWork.isMarked());
    EXPECT_EQ(changes, 2);
}

TEST_F(AtWorkTest, TheMarkGoesWithTheTask) {
    start();
    input()();
    finish();
    EXPECT_FALSE(atWork.isMarked());
    EXPECT_EQ(changes, 2);
}
