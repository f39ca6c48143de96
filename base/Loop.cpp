#include "base/Loop.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSocketNotifier>
#include <QThread>

namespace ombru {

namespace {

std::unique_ptr<Loop> mainLoop;

constexpr std::size_t FEW_TIMERS = 64; // more of them are looked through for those that were cancelled

// Every loop that runs, for who moves the clock.
struct All {
    std::mutex mutex;
    std::vector<Loop *> loops;
};

All &all() {
    static All all;
    return all;
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

Loop::Loop() {
    if (!m_wake.isOpen() || !m_alarm.isOpen())
        qFatal("ombru cannot run: the system gave no event descriptors (too many open files?)");
    m_onWake = std::make_unique<QSocketNotifier>(m_wake.descriptor(), QSocketNotifier::Read);
    m_onAlarm = std::make_unique<QSocketNotifier>(m_alarm.descriptor(), QSocketNotifier::Read);
    QObject::connect(m_onWake.get(), &QSocketNotifier::activated, m_onWake.get(), [this] { runJobs(); });
    QObject::connect(m_onAlarm.get(), &QSocketNotifier::activated, m_onAlarm.get(), [this] {
        m_alarm.clear();
        m_alarmAt.reset();
        runTimers();
    });
    const std::lock_guard lock(all().mutex);
    all().loops.push_back(this);
}

Loop::~Loop() {
    const std::lock_guard lock(all().mutex);
    std::erase(all().loops, this);
}

void Loop::post(Job job) {
    const std::lock_guard lock(m_mutex);
    m_jobs.push_back(std::move(job));
    if (!std::exchange(m_awake, true))
        m_wake.ring();
}

bool Loop::runJobs() {
    m_wake.clear();
    std::deque<Job> jobs;
    {
        const std::lock_guard lock(m_mutex);
        jobs.swap(m_jobs);
        m_awake = false;
    }
    for (auto &job : jobs) {
        job();
        if (timerIsDue()) // a beat does not wait for all who have come before it
            runTimers();
    }
    return !jobs.empty();
}

// Limits of a day or a year are nearly always cancelled; none may stay behind until then.
void Loop::dropCancelledTimers() {
    if (m_timers.size() < m_mostTimers)
        return;
    std::vector<Pending> dropped; // what they hold may add timers when it goes
    for (auto timer = m_timers.begin(); timer != m_timers.end();) {
        if (*timer->second.active) {
            ++timer;
        } else {
            dropped.push_back(std::move(timer->second));
            timer = m_timers.erase(timer);
        }
    }
    m_mostTimers = std::max(FEW_TIMERS, 2 * m_timers.size());
}

Timer Loop::after(Clock::Duration delay, Job job) {
    dropCancelledTimers();
    auto active = std::make_shared<bool>(true);
    m_timers.emplace(Clock::now() + delay, Pending{active, std::move(job)});
    if (!m_alarmAt ||
        firstTime() < m_alarmAt) // setting it costs a call to the system, and most timers are not the first
        arm();
    return Timer(std::move(active));
}

void Loop::timeChanged() {
    const std::lock_guard lock(all().mutex);
    for (auto *loop : all().loops)
        loop->post([loop] { loop->runTimers(); });
}

bool Loop::timerIsDue() const {
    return !m_timers.empty() && m_timers.begin()->first <= Clock::now();
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

// While time stands still the alarm must not ring: what it would find is never due.
std::optional<Clock::Time> Loop::firstTime() const {
    return m_timers.empty() || Clock::stopped() ? std::nullopt : std::optional(m_timers.begin()->first);
}

void Loop::arm() {
    const auto first = firstTime();
    if (std::exchange(m_alarmAt, first) == first)
        return;
    if (first)
        m_alarm.set(*first);
    else
        m_alarm.unset();
}

void onMain(const QObject *context, Job job) {
    // The pointer is watched on the main thread only; objects it may name die there.
    Loop::main().post([alive = QPointer<const QObject>(context), job = std::move(job)]() mutable {
        if (alive)
            job();
    });
}

} // namespace ombru
