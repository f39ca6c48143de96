#include "base/Alarm.h"

#include <gtest/gtest.h>
#include <poll.h>

using namespace ombru;
using namespace std::chrono_literals;

namespace {

bool readable(const Alarm &alarm, int milliseconds = 0) {
    pollfd entry{.fd = alarm.descriptor(), .events = POLLIN, .revents = 0};
    return ::poll(&entry, 1, milliseconds) == 1;
}

} // namespace

TEST(Alarm, RingsAtItsTimeAndNotBefore) {
    Alarm alarm;
    ASSERT_TRUE(alarm.isOpen());
    EXPECT_FALSE(readable(alarm));
    const auto time = Clock::now() + 5ms;
    alarm.set(time);
    ASSERT_TRUE(readable(alarm, 10'000));
    EXPECT_GE(Clock::now(), time);
}

TEST(Alarm, ATimeThatHasPassedRingsAtOnce) {
    Alarm alarm;
    for (const auto time : {Clock::now() - 1h, Clock::Time()}) {
        alarm.set(time);
        EXPECT_TRUE(readable(alarm, 10'000));
    }
}

TEST(Alarm, IsQuietOnceItWasCleared) {
    Alarm alarm;
    alarm.set(Clock::now());
    ASSERT_TRUE(readable(alarm, 10'000));
    alarm.clear();
    EXPECT_FALSE(readable(alarm));
    alarm.clear();
    EXPECT_FALSE(readable(alarm)) << "clearing what did not ring returns at once";
}

TEST(Alarm, ALaterTimeTakesThePlaceOfOneThatRang) {
    Alarm alarm;
    alarm.set(Clock::now());
    ASSERT_TRUE(readable(alarm, 10'000));
    alarm.set(Clock::now() + 1h);
    EXPECT_FALSE(readable(alarm));
    alarm.set(Clock::now());
    EXPECT_TRUE(readable(alarm, 10'000));
}

TEST(Alarm, OneThatIsUnsetDoesNotRing) {
    Alarm alarm;
    alarm.set(Clock::now());
    ASSERT_TRUE(readable(alarm, 10'000));
    alarm.unset();
    EXPECT_FALSE(readable(alarm));
}
