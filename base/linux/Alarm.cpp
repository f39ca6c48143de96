#include "base/Alarm.h"

#include <sys/timerfd.h>

namespace ombru {

Alarm::Alarm() : m_descriptor(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {}

void Alarm::set(Clock::Time time) {
    using namespace std::chrono;
    // Zero would unset it.
    const auto at = std::max(duration_cast<nanoseconds>(Clock::systemTime(time).time_since_epoch()), 1ns);
    itimerspec first{};
    first.it_value = {at.count() / 1'000'000'000, at.count() % 1'000'000'000};
    ::timerfd_settime(m_descriptor.number(), TFD_TIMER_ABSTIME, &first, nullptr);
}

void Alarm::unset() {
    const itimerspec never{};
    ::timerfd_settime(m_descriptor.number(), TFD_TIMER_ABSTIME, &never, nullptr);
}

void Alarm::clear() {
    // One that was set anew meanwhile has nothing to read.
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = ::read(m_descriptor.number(), &count, sizeof count);
}

} // namespace ombru
