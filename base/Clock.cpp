#include "base/Clock.h"

#include "base/Loop.h"

#include <QtGlobal>

#include <atomic>
#include <cmath>

namespace ombru {

namespace {
constexpr Clock::Duration::rep RUNNING = -1;
std::atomic<Clock::Duration::rep> stoppedAt = RUNNING;
std::atomic<Clock::Duration::rep> leftOut = 0;

Clock::Time running() {
    return std::chrono::steady_clock::now() - Clock::Duration(leftOut);
}
} // namespace

Clock::Time Clock::now() {
    const auto stopped = stoppedAt.load();
    return stopped == RUNNING ? running() : Time(Duration(stopped));
}

Clock::Time Clock::systemTime(Time time) {
    return time + Duration(leftOut);
}

void Clock::hold() {
    stoppedAt = now().time_since_epoch().count();
}

void Clock::goOn() {
    leftOut += (running() - now()).count();
    stoppedAt = RUNNING;
    Loop::timeChanged();
}

bool Clock::stopped() {
    return stoppedAt != RUNNING;
}

double Clock::unixSeconds() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(since).count();
}

Clock::Duration Clock::seconds(double count) {
    constexpr double CENTURY = 100.0 * 365 * 24 * 3600;
    const double bounded = std::isnan(count) ? 0 : std::clamp(count, 0.0, CENTURY);
    return std::chrono::ceil<Duration>(std::chrono::duration<double>(bounded));
}

double Clock::secondsSince(Time start) {
    return std::chrono::duration<double>(now() - start).count();
}

ManualClock::ManualClock() {
    Q_ASSERT(stoppedAt == RUNNING);
    stoppedAt = running().time_since_epoch().count();
}

ManualClock::~ManualClock() {
    stoppedAt = RUNNING;
    Loop::timeChanged();
}

void ManualClock::advance(Clock::Duration duration) {
    stoppedAt += duration.count();
    Loop::timeChanged();
}

} // namespace ombru
