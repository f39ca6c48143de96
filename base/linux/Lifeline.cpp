#include "base/Lifeline.h"

#include "base/Descriptor.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace ombru {

namespace {

constexpr std::chrono::milliseconds LAST_MOMENTS(1000);

// The thread that waits for the lifeline's end; it ends with this object, when the program ends by itself.
class Watch {
public:
    Watch(Descriptor over, std::function<void()> farewell)
        : m_over(std::move(over)), m_thread([this, farewell = std::move(farewell)] { watch(farewell); }) {}
    ~Watch() {
        ::eventfd_write(m_over.number(), 1);
        m_thread.join();
    }
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

private:
    void watch(const std::function<void()> &farewell) const {
        if (isOver(HELPER_LIFELINE, -1))
            return;
        if (farewell) {
            farewell();
            if (isOver(-1, int(LAST_MOMENTS.count())))
                return;
        }
        ::_exit(EXIT_FAILURE);
    }

    // Whether the program ends by itself before that descriptor has something to tell, or the time is over.
    bool isOver(int descriptor, int milliseconds) const {
        std::array<pollfd, 2> waits{pollfd{m_over.number(), POLLIN, 0}, {descriptor, POLLIN, 0}};
        while (::poll(waits.data(), waits.size(), milliseconds) < 0 && errno == EINTR) {
        }
        return waits[0].revents != 0;
    }

    Descriptor m_over;
    std::thread m_thread; // last: it uses the others
};

} // namespace

bool endWithLifeline(std::function<void()> farewell) {
    if (::fcntl(HELPER_LIFELINE, F_SETFD, FD_CLOEXEC) != 0)
        return false;
    Descriptor over(::eventfd(0, EFD_CLOEXEC));
    if (!over.isOpen())
        return false;
    static const Watch watch(std::move(over), std::move(farewell));
    return true;
}

} // namespace ombru
