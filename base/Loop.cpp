#include "base/Loop.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSocketNotifier>
#include <QThread>

#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace ombru {

namespace {

std::unique_ptr<Loop> mainLoop;

void clear(int descriptor) {
    // Only the readiness matters; a spurious wake finds nothing to read.
    std::uint64_t count = 0;
    [[maybe_unused]] const auto got = ::read(descriptor, &count, sizeof count);
}

} // namespace

Loop &Loop::main() {
    if (!mainLoop) {
        Q_ASSERT(qApp && QThread::currentThread() == qApp->thread());
        mainLoop.reset(new Loop);
        qAddPostRoutine([] { mainLoop.reset(); });
    }
    return *mainLoop;
}

Loop::Loop()
    : m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_alarm(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    if (m_wake < 0 || m_alarm < 0)
        qFatal("ombru cannot run: the system gave no event descriptors (too many open files?)");
    m_onWake = std::make_unique<QSocketNotifier>(m_wake, QSocketNotifier::Read);
    m_onAlarm = std::make_unique<QSocketNotifier>(m_alarm, QSocketNotifier::Read);
    QObject::connect(m_onWake.get(), &QSocketNotifier::activated, m_onWake.get(), [this] { runJobs(); });
    QObject::connect(m_onAlarm.get(), &QSocketNotifier::activated, m_onAlarm.get(), [this] {
        clear(m_alarm);
        runTimers();
    });
}

Loop::~Loop() {
    m_onWake.reset();
    m_onAlarm.reset();
    ::close(m_wake);
    ::close(m_alarm);
}

void Loop::post(Job job) {
    const std::lock_guard lock(m_mutex);
    m_jobs.push_back(std::move(job));
    if (!std::exchange(m_awake, true))
        wake();
}

void Loop::wake() {
    // Cannot fail: the counter is read before it could overflow.
    [[maybe_unused]] const int done = ::eventfd_write(m_wake, 1);
}

void Loop::runJobs() {
    clear(m_wake);
    std::deque<Job> jobs;
    {
        const std::lock_guard lock(m_mutex);
        jobs.swap(m_jobs);
        m_awake = false;
    }
    for (auto &job : jobs)
        job();
}

Timer Loop::after(Clock::Duration delay, Job job) {
    auto active = std::make_shared<bool>(true);
    m_timers.emplace(Clock::now() + delay, Pending{active, std::move(job)});
    arm();
    return Timer(std::move(active));
}

void Loop::timeChanged() {
    post([this] { runTimers(); });
}

void Loop::runTimers() {
    // One at a time: a timer's job may cancel the next one, or add one that is due already.
    const auto now = Clock::now();
    while (!m_timers.empty() && m_timers.begin()->first <= now) {
        auto due = std::move(m_timers.extract(m_timers.begin()).mapped());
        if (!std::exchange(*due.active, false))
            continue;
        due.job();
    }
    arm();
}

void Loop::arm() {
    using namespace std::chrono;
    itimerspec first{};
    // While time stands still the alarm must not ring: what it would find is never due.
    if (!m_timers.empty() && !Clock::stopped()) {
        const auto at = std::max(duration_cast<nanoseconds>(m_timers.begin()->first.time_since_epoch()), 1ns);
        first.it_value = {at.count() / 1'000'000'000, at.count() % 1'000'000'000};
    }
    ::timerfd_settime(m_alarm, TFD_TIMER_ABSTIME, &first, nullptr);
}

void onMain(const QObject *context, Job job) {
    // The pointer is watched on the main thread only; objects it may name die there.
    Loop::main().post([alive = QPointer<const QObject>(context), job = std::move(job)]() mutable {
        if (alive)
            job();
    });
}

} // namespace ombru
