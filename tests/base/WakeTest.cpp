#include "base/Wake.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <thread>

using namespace ombru;

namespace {

bool readable(const Wake &wake, int milliseconds = 0) {
    pollfd entry{.fd = wake.descriptor(), .events = POLLIN, .revents = 0};
    return ::poll(&entry, 1, milliseconds) == 1;
}

} // namespace

TEST(Wake, IsReadableFromTheFirstRingUntilItIsCleared) {
    Wake wake;
    ASSERT_TRUE(wake.isOpen());
    EXPECT_FALSE(readable(wake));
    wake.ring();
    wake.ring();
    EXPECT_TRUE(readable(wake));
    EXPECT_TRUE(readable(wake)) << "looking clears nothing";
    wake.clear();
    EXPECT_FALSE(readable(wake));
    wake.ring();
    EXPECT_TRUE(readable(wake));
}

TEST(Wake, ClearingWhatDidNotRingReturnsAtOnce) {
    Wake wake;
    wake.clear();
    EXPECT_FALSE(readable(wake));
}

TEST(Wake, AnotherThreadWakesTheOneThatWaits) {
    Wake wake;
    const std::jthread other([&wake] { wake.ring(); });
    EXPECT_TRUE(readable(wake, 10'000));
}
