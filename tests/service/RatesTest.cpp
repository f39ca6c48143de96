#include "service/rates/Rates.h"

#include "tests/support/Wait.h"

using namespace ombru;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

TEST(Rate, AllowsSoManyAtOnceAndThenAsManyAsTheTimeGives) {
    ManualClock clock;
    Rate rate({.atOnce = 3, .aMinute = 60});
    for (int number = 0; number < 3; ++number)
        EXPECT_TRUE(rate.allows(u"a"_s));
    EXPECT_FALSE(rate.allows(u"a"_s));
    EXPECT_TRUE(rate.allows(u"b"_s)) << "each has its own";
    clock.advance(1s);
    EXPECT_TRUE(rate.allows(u"a"_s));
    EXPECT_FALSE(rate.allows(u"a"_s));
    clock.advance(1h);
    for (int number = 0; number < 3; ++number)
        EXPECT_TRUE(rate.allows(u"a"_s));
    EXPECT_FALSE(rate.allows(u"a"_s)) << "what was not asked for is not saved up";
}

TEST(NetworkOf, ManyAddressesOfOneHouseholdAreOne) {
    EXPECT_EQ(networkOf(u"192.0.2.7"_s), u"192.0.2.7"_s);
    EXPECT_EQ(networkOf(u"::ffff:192.0.2.7"_s), u"192.0.2.7"_s);
    EXPECT_NE(networkOf(u"::ffff:192.0.2.7"_s), networkOf(u"::ffff:192.0.2.8"_s));
    EXPECT_EQ(networkOf(u"2001:db8:1:2::3"_s), networkOf(u"2001:db8:1:2:ffff::9"_s));
    EXPECT_NE(networkOf(u"2001:db8:1:2::3"_s), networkOf(u"2001:db8:1:3::3"_s));
}

TEST(Attempts, WrongOnesAreLimitedInTheirTime) {
    ManualClock clock;
    Attempts attempts(2, 15min);
    EXPECT_EQ(attempts.left(u"a"_s), 2);
    attempts.failed(u"a"_s);
    clock.advance(5min);
    attempts.failed(u"a"_s);
    EXPECT_EQ(attempts.left(u"a"_s), 0);
    EXPECT_EQ(attempts.wait(u"a"_s), 10min);
    EXPECT_EQ(attempts.wait(u"b"_s), 0s);
    clock.advance(10min);
    EXPECT_EQ(attempts.wait(u"a"_s), 0s);
    EXPECT_EQ(attempts.left(u"a"_s), 1);
    attempts.succeeded(u"a"_s);
    EXPECT_EQ(attempts.left(u"a"_s), 2);
}

} // namespace
