#include "service/EndSignal.h"

#include "base/Program.h"
#include "base/Wake.h"

#include <array>
#include <cerrno>
#include <csignal>

namespace ombru {

namespace {

constexpr std::array SIGNALS{SIGINT, SIGTERM};
std::unique_ptr<Wake> wake;

extern "C" void noteSignal(int signal) {
    const int saved = errno;
    std::signal(signal, SIG_DFL);
    wake->ring();
    errno = saved;
}

} // namespace

EndSignal::EndSignal(std::function<void()> wanted) {
    wake = std::make_unique<Wake>();
    m_notifier = std::make_unique<QSocketNotifier>(wake->descriptor(), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [wanted = std::move(wanted)] {
        wake->clear();
        wanted();
    });
    for (const int signal : SIGNALS) {
        if (!ignores(signal))
            std::signal(signal, noteSignal);
    }
}

EndSignal::~EndSignal() {
    for (const int signal : SIGNALS) {
        if (!ignores(signal))
            std::signal(signal, SIG_DFL);
    }
    m_notifier.reset();
    wake.reset();
}

} // namespace ombru
