#include "service/log/Log.h"

#include "tests/support/Wait.h"

using namespace ombru;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

int written(LogLimit &limit, const QString &event, const QString &address, int lines) {
    int count = 0;
    for (int line = 0; line < lines; ++line)
        count += limit.take(event, address) ? 1 : 0;
    return count;
}

TEST(LogLimit, OneAddressDoesNotFillTheLogNorHideAnother) {
    ManualClock clock;
    LogLimit limit;
    EXPECT_EQ(written(limit, u"request"_s, u"203.0.113.7"_s, 1000), 60);
    EXPECT_EQ(limit.take(u"request"_s, u"203.0.113.8"_s), 940) << "what was left out is counted";
    EXPECT_EQ(limit.take(u"request"_s, u"203.0.113.8"_s), 0);
    EXPECT_TRUE(limit.take(u"signed-in"_s, u"203.0.113.7"_s)) << "another event has its own";
    clock.advance(1s);
    EXPECT_TRUE(limit.take(u"request"_s, u"203.0.113.7"_s));
    EXPECT_FALSE(limit.take(u"request"_s, u"203.0.113.7"_s));
}

TEST(LogLimit, ANetworkOfManyAddressesIsOne) {
    LogLimit limit;
    for (int computer = 0; computer < 1000; ++computer)
        limit.take(u"request"_s, u"2001:db8::%1"_s.arg(computer));
    EXPECT_FALSE(limit.take(u"request"_s, u"2001:db8::ffff"_s));
}

TEST(LogLimit, ManyAddressesDoNotFillItEither) {
    ManualClock clock;
    LogLimit limit;
    int count = 0;
    for (int network = 0; network < 1000; ++network)
        count += limit.take(u"request"_s, u"10.0.%1.%2"_s.arg(network / 250).arg(network % 250)) ? 1 : 0;
    EXPECT_EQ(count, 300);
    EXPECT_EQ(written(limit, u"lost"_s, {}, 1000), 300) << "nor does one without an address";
}

} // namespace
