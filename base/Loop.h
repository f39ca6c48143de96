// What runs on a thread's event loop: jobs handed over from any thread, and timers. Jobs travel through a locked list
// and a wake descriptor rather than through the framework's events, so that a race detector can see the hand-over.
#pragma once
#include "base/Alarm.h"
#include "base/Clock.h"
#include "base/Wake.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>

class QObject;
class QSocketNotifier;

namespace ombru {

using Job = std::move_only_function<void()>;

// A pending timer; dropping it cancels it. Owner's thread: the loop's.
class Timer {
public:
    Timer() = default;
    explicit Timer(std::shared_ptr<bool> active) : m_active(std::move(active)) {}
    Timer(Timer &&other) noexcept = default;
    Timer &operator=(Timer &&other) noexcept {
        cancel();
        m_active = std::move(other.m_active);
        return *this;
    }
    ~Timer() { cancel(); }
    void cancel() {
        if (const auto active = std::exchange(m_active, nullptr))
            *active = false;
    }
    bool pending() const { return m_active && *m_active; }

private:
    std::shared_ptr<bool> m_active;
};

class Loop {
public:
    // The main thread's, made by the first call, which must be on the main thread with an application running.
    static Loop &main();
    ~Loop();

    void post(Job job);                                        // any thread; in the order posted
    [[nodiscard]] Timer after(Clock::Duration delay, Job job); // the loop's thread

    static void timeChanged(); // any thread; the clock was moved by hand, for every loop

private:
    friend class WorkerLoop; // makes one on its own thread

    Loop();
    bool runJobs(); // whether there were any
    void runTimers();
    bool timerIsDue() const;
    void dropCancelledTimers();
    std::optional<Clock::Time> firstTime() const;
    void arm();

    struct Pending {
        std::shared_ptr<bool> active;
        Job job;
    };
    Wake m_wake;   // rings when there are jobs
    Alarm m_alarm; // rings when the first timer is due
    std::unique_ptr<QSocketNotifier> m_onWake;
    std::unique_ptr<QSocketNotifier> m_onAlarm;
    std::multimap<Clock::Time, Pending> m_timers;
    std::optional<Clock::Time> m_alarmAt; // what the alarm is set to
    std::size_t m_mostTimers = 0;         // from so many on they are looked through
    std::mutex m_mutex;                   // guards the rest
    std::deque<Job> m_jobs;
    bool m_awake = false;
};

// Runs the job on the main thread, unless `context` is gone by then. Any thread; context is a main-thread object.
void onMain(const QObject *context, Job job);

} // namespace ombru
