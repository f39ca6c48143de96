#include "app/cli/Interrupt.h"

#include "base/Program.h"

#include <array>
#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace ombru {

namespace {

constexpr std::array SIGNALS{SIGINT, SIGQUIT, SIGTERM, SIGHUP};
std::array<int, 2> wakePipe{-1, -1};
std::atomic<bool> wanted = false;
std::atomic<bool> everWanted = false;

extern "C" void noteSignal(int) {
    const int saved = errno;
    wanted = true;
    everWanted = true;
    // A full pipe has told the main thread already.
    [[maybe_unused]] const auto written = ::write(wakePipe[1], "!", 1);
    errno = saved;
}

} // namespace

Interrupt::Interrupt(std::function<void()> interrupted) {
    if (::pipe(wakePipe.data()) != 0)
        qFatal("ombru cannot run: the system gave no pipe (too many open files?)");
    for (const int end : wakePipe) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
    m_notifier = std::make_unique<QSocketNotifier>(wakePipe[0], QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [interrupted = std::move(interrupted)] {
                         std::array<char, 64> bytes;
                         while (::read(wakePipe[0], bytes.data(), bytes.size()) > 0) {
                         }
                         wanted = false;
                         interrupted();
                     });
    for (const int signal : SIGNALS) {
        if (!ignores(signal))
            std::signal(signal, noteSignal);
    }
}

bool Interrupt::isWanted() {
    return wanted;
}

bool Interrupt::wasWanted() {
    return everWanted;
}

Interrupt::~Interrupt() {
    for (const int signal : SIGNALS) {
        if (!ignores(signal))
            std::signal(signal, SIG_DFL);
    }
    m_notifier.reset();
    ::close(wakePipe[0]);
    ::close(wakePipe[1]);
}

} // namespace ombru
