#include "app/cli/Suspension.h"

#include "base/Clock.h"
#include "base/Process.h"
#include "base/Program.h"

#include <QSocketNotifier>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <thread>
#include <utility>

namespace ombru {

namespace {

std::atomic<bool> wanted = false;
std::atomic<bool> continued = false;
Wake *wake = nullptr; // of the one that lives
std::atomic<std::thread::id> itsThread;

extern "C" void noteWish(int) {
    const int saved = errno;
    wanted = true;
    wake->ring();
    errno = saved;
}

extern "C" void noteContinuation(int) {
    continued = true;
}

// Whether it was stopped: the system stops no program that has nobody to continue it.
bool stopThisProgram() {
    continued = false;
    const auto onContinuation = std::signal(SIGCONT, noteContinuation);
    const auto onStop = std::signal(SIGTSTP, SIG_DFL);
    ::raise(SIGTSTP);
    std::signal(SIGTSTP, onStop);
    std::signal(SIGCONT, onContinuation);
    return continued;
}

void stopAll() {
    wanted = false;
    Clock::hold();
    Process::stopAll();
    const bool wasStopped = stopThisProgram();
    Process::continueAll();
    Clock::goOn();
    if (!wasStopped)
        qCritical("Nothing here could continue a program that is stopped, so it goes on; Ctrl-C ends it.");
}

} // namespace

Suspension::Suspension(Listener listener) : m_listener(std::move(listener)) {
    wanted = false;
    wake = &m_wake;
    itsThread = std::this_thread::get_id();
    m_onWake = std::make_unique<QSocketNotifier>(m_wake.descriptor(), QSocketNotifier::Read);
    QObject::connect(m_onWake.get(), &QSocketNotifier::activated, m_onWake.get(), [this] { stop(); });
    if (!ignores(SIGTSTP))
        m_before = std::signal(SIGTSTP, noteWish);
}

Suspension::~Suspension() {
    if (!ignores(SIGTSTP))
        std::signal(SIGTSTP, m_before);
    wake = nullptr;
    itsThread = std::thread::id();
}

void Suspension::stop() {
    m_wake.clear();
    m_listener.before(); // which may come to it already, when it has to wait for a reader
    if (wanted)
        stopAll();
    m_listener.after();
}

void Suspension::takePlace() {
    if (wanted && std::this_thread::get_id() == itsThread)
        stopAll();
}

} // namespace ombru
