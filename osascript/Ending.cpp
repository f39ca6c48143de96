#include "osascript/Ending.h"

#include "base/Clock.h"
#include "base/Program.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <memory>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace ombru {
namespace {

constexpr std::array ENDING{SIGTERM, SIGINT, SIGHUP, SIGQUIT};
constexpr int TO_BE_STOPPED_MILLISECONDS = 5000; // longer than a keeper waits for others
constexpr int GLANCE_MILLISECONDS = 10;

class Resting {
public:
    explicit Resting(Rest rest) : m_rest(std::move(rest)) {}
    void begin() {
        if (!std::exchange(m_rests, true))
            m_rest.begin();
    }
    bool goOn() {
        m_rests = m_rests && !m_rest.goOn();
        return !m_rests;
    }
    void goOnToEnd() {
        if (std::exchange(m_rests, false))
            m_rest.goOnToEnd();
    }

private:
    Rest m_rest;
    bool m_rests = false;
};

struct Ending {
    std::mutex mutex;
    std::vector<std::function<void()>> actions;
    std::vector<Resting> rests;
    bool watched = false;
    sigset_t signals = {}; // that end this program
    int endings = -1;      // readable when one of those is pending
    int stops = -1;        // when SIGTSTP is
    int continuations = -1;
};

// The thread's, too: it may outlive the main one's static objects.
const std::shared_ptr<Ending> &ending() {
    static const auto only = std::make_shared<Ending>();
    return only;
}

void end(Ending &now) {
    const std::lock_guard lock(now.mutex);
    for (const auto &action : now.actions)
        action();
    for (const int signal : ENDING)
        if (::sigismember(&now.signals, signal) == 1)
            std::signal(signal, SIG_DFL);
    ::pthread_sigmask(SIG_UNBLOCK, &now.signals, nullptr);
}

sigset_t setOf(int signal) {
    sigset_t set;
    ::sigemptyset(&set);
    ::sigaddset(&set, signal);
    return set;
}

enum class Arrived { ending, other, nothing };

Arrived await(const Ending &now, int other, int milliseconds) {
    std::array<pollfd, 2> waits{pollfd{now.endings, POLLIN, 0}, {other, POLLIN, 0}};
    if (::poll(waits.data(), waits.size(), milliseconds) <= 0)
        return Arrived::nothing;
    return waits[0].revents != 0 ? Arrived::ending : Arrived::other;
}

// What is on a terminal is stopped by that; in a session without one it only says that all is ready.
void takeStop() {
    const auto stop = setOf(SIGTSTP);
    ::pthread_sigmask(SIG_UNBLOCK, &stop, nullptr);
    ::pthread_sigmask(SIG_BLOCK, &stop, nullptr);
}

void awaitContinuation(const Ending &now) {
    if (await(now, now.continuations, TO_BE_STOPPED_MILLISECONDS) != Arrived::other)
        return;
    signalfd_siginfo signal{};
    [[maybe_unused]] const auto got = ::read(now.continuations, &signal, sizeof signal);
}

// False when the program is to end, or to be stopped again.
bool goOn(Ending &now) {
    while (!std::ranges::all_of(now.rests.rbegin(), now.rests.rend(), &Resting::goOn))
        if (await(now, now.stops, GLANCE_MILLISECONDS) != Arrived::nothing)
            return false;
    return true;
}

// False when the program is to end.
bool standStill(Ending &now) {
    const std::lock_guard lock(now.mutex);
    do {
        for (auto &rest : now.rests)
            rest.begin();
        Clock::hold();
        takeStop();
        awaitContinuation(now);
        Clock::goOn();
        if (await(now, -1, 0) == Arrived::ending) {
            for (auto &rest : now.rests)
                rest.goOnToEnd();
            return false;
        }
    } while (!goOn(now));
    return true;
}

// A handler may do next to nothing, not even talk to the X server: so a thread watches. The signal stays pending, for
// others to see, until all is done.
void watch(const std::shared_ptr<Ending> &now) {
    if (std::exchange(now->watched, true))
        return;
    ::sigemptyset(&now->signals);
    for (const int signal : ENDING)
        if (!ignores(signal))
            ::sigaddset(&now->signals, signal);
    const auto stop = setOf(SIGTSTP);
    const auto continuation = setOf(SIGCONT);
    now->endings = ::signalfd(-1, &now->signals, SFD_CLOEXEC);
    now->stops = ignores(SIGTSTP) ? -1 : ::signalfd(-1, &stop, SFD_CLOEXEC);
    now->continuations = ::signalfd(-1, &continuation, SFD_CLOEXEC | SFD_NONBLOCK);
    if (now->endings < 0 || now->continuations < 0)
        return;
    ::pthread_sigmask(SIG_BLOCK, &now->signals, nullptr);
    if (now->stops >= 0) {
        ::pthread_sigmask(SIG_BLOCK, &stop, nullptr);
        ::pthread_sigmask(SIG_BLOCK, &continuation, nullptr);
    }
    std::thread([now] {
        for (auto arrived = Arrived::nothing; arrived != Arrived::ending;) {
            arrived = await(*now, now->stops, -1);
            if (arrived == Arrived::other && !standStill(*now))
                break;
        }
        end(*now);
    }).detach();
}

} // namespace

void beforeEnding(std::function<void()> action) {
    const std::lock_guard lock(ending()->mutex);
    watch(ending());
    ending()->actions.push_back(std::move(action));
}

void aroundStops(Rest rest) {
    const std::lock_guard lock(ending()->mutex);
    watch(ending());
    ending()->rests.emplace_back(std::move(rest));
}

void stayIfEnding() {
    sigset_t pending;
    ::sigpending(&pending);
    for (const int signal : ENDING)
        while (::sigismember(&ending()->signals, signal) == 1 && ::sigismember(&pending, signal) == 1)
            ::pause();
}

} // namespace ombru
