// A day of an application that is signed in and has nothing to do.

#include "tests/controller/LinkFixture.h"

#include <malloc.h>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int REST = 60; // turns of the loop without anything to do: a look at what is allowed has many steps

// It runs within an event loop, as the application does: only there Qt takes away what was to be deleted later.
class Day : public test::LinkFixture {
protected:
    static Task<> turn() {
        const Completion next;
        next.fire();
        co_await next;
    }
    static Task<> comeToRest() {
        for (int turns = 0; turns < REST; turns = backgroundIsIdle() ? turns + 1 : 0)
            co_await turn();
    }
    Task<> pass(int minutes) {
        co_await comeToRest();
        for (; minutes > 0; --minutes) {
            clock.advance(60s);
            while (service.requests.empty())
                co_await turn();
            co_await comeToRest();
            forget();
        }
    }
    // What only the test keeps.
    void forget() {
        m_requests += service.requests.size();
        service.forgetRequests();
        for (auto &channel : service.channels)
            channel->frames = {};
        FakePlatform::instance().logged = {};
        FakePlatform::instance().desktop->determined = {};
        FakePlatform::instance().desktop->startedHidden = {};
    }
    static std::size_t allocated() { return ::mallinfo2().uordblks; }

    ManualClock clock;
    std::size_t m_requests = 0;
};

} // namespace

TEST_F(Day, OfHeartbeatsLeavesNothingBehind) {
    constexpr std::size_t BEATS = 23 * 60;
    constexpr std::size_t TOLERANCE = 96 * BEATS; // bytes; what the allocator itself makes of it comes to 40 a beat
    boot();
    ASSERT_TRUE(test::waitUntil([this] { return state->agentConnected(); }));
    QCoro::waitFor(pass(60));
    const auto before = allocated();
    QCoro::waitFor(pass(BEATS));
    const auto after = allocated();
    EXPECT_LE(after, before + TOLERANCE) << after - before << " bytes in 23 hours";
    EXPECT_EQ(m_requests, 60 + BEATS + 1);
    EXPECT_EQ(service.channels.size(), 1U);
}
