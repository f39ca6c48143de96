// What a service drops by itself, and what it does not.
#include "tests/service/Append.h"
#include "tests/service/ServiceFixture.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr double DAY = 24 * 3600;

class TidyTest : public ServiceFixture {
protected:
    // The service has kept a line at the time 1000, and it was `today` when it ended.
    void SetUp() override {
        start();
        pair(visitFirst());
        stop();
        const auto store = Store::open({file});
        const Told line{.computer = 1, .received = 1000, .message = EventMessage{u"good"_s, u"line"_s, 1000}};
        ASSERT_TRUE(append(**store, {&line, 1}));
    }
    void startOn(double today) {
        const auto database = Database::open(file, Database::Mode::existing);
        ASSERT_TRUE((*database)->run("UPDATE calendar SET today = ?", today));
        start();
        finishTidying();
    }
    void finishTidying() { // what is asked comes behind it
        EXPECT_EQ(get(u"/healthz"_s).status, 200);
    }
    double number(const char *question) {
        const auto database = Database::open(file, Database::Mode::readOnly);
        return **(*database)->row(question, [](const Row &row) { return row.real(0); });
    }

    const QString file = directory.filePath(u"service.sqlite"_s);
};

TEST_F(TidyTest, WhatIsOldIsDropped) {
    startOn(1000 + 91 * DAY);
    EXPECT_EQ(number("SELECT count(*) FROM items"), 0);
}

TEST_F(TidyTest, AClockThatIsFarAheadMakesNothingOld) {
    startOn(1000 + 89 * DAY);
    EXPECT_EQ(number("SELECT count(*) FROM items"), 1);
}

TEST_F(TidyTest, ItsDayGoesOnWithTheHours) {
    ManualClock clock;
    startOn(1000);
    EXPECT_EQ(number("SELECT today FROM calendar"), 1000) << "a start is no day";
    clock.advance(59min);
    finishTidying();
    EXPECT_EQ(number("SELECT today FROM calendar"), 1000);
    clock.advance(1min);
    EXPECT_TRUE(waitUntil([this] { return number("SELECT today FROM calendar") == 1000 + DAY; }));
}

} // namespace
