#include "osascript/Ending.h"

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

struct Ending {
    std::mutex mutex;
    std::vector<std::function<void()>> actions;
    sigset_t signals = {}; // that end this program
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

// A handler may do next to nothing, not even talk to the X server: so a thread watches. The signal stays pending, for
// others to see, until all is done.
void watch(const std::shared_ptr<Ending> &now) {
    ::sigemptyset(&now->signals);
    for (const int signal : ENDING) {
        struct sigaction present = {};
        ::sigaction(signal, nullptr, &present);
        if (present.sa_handler != SIG_IGN)
            ::sigaddset(&now->signals, signal);
    }
    const int arrivals = ::signalfd(-1, &now->signals, SFD_CLOEXEC);
    if (arrivals < 0)
        return;
    ::pthread_sigmask(SIG_BLOCK, &now->signals, nullptr);
    std::thread([now, arrivals] {
        pollfd wait{arrivals, POLLIN, 0};
        while (::poll(&wait, 1, -1) < 1) {
        }
        end(*now);
    }).detach();
}

} // namespace

void beforeEnding(std::function<void()> action) {
    const std::lock_guard lock(ending()->mutex);
    if (ending()->actions.empty())
        watch(ending());
    ending()->actions.push_back(std::move(action));
}

void stayIfEnding() {
    sigset_t pending;
    ::sigpending(&pending);
    for (const int signal : ENDING)
        while (::sigismember(&ending()->signals, signal) == 1 && ::sigismember(&pending, signal) == 1)
            ::pause();
}

} // namespace ombru
