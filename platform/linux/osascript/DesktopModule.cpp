#include "platform/linux/osascript/DesktopModule.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <csignal>
#include <dlfcn.h>
#include <pthread.h>
#include <thread>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int CANNOT_DO_IT = -10000; // AppleScript's own number

Failure unavailable(const QString &why) {
    return {u"desktop"_s, CANNOT_DO_IT, why};
}

QString modulePath() {
    const auto beside = QCoreApplication::applicationDirPath();
    const auto near = beside + u"/ombru-desktop.so"_s;
    return QFileInfo::exists(near) ? near : beside + u"/../lib/ombru/ombru-desktop.so"_s;
}

// A thread of its own waits for the signals that end a program: the keyboard must have its own map back first, and a
// handler may not talk to the X server. Then the program ends by that signal, as it would have without us.
void watchSignals(std::shared_ptr<Desktop> desktop) {
    sigset_t ending;
    ::sigemptyset(&ending);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        // Whoever started this program may have wanted it to outlive one of them.
        struct sigaction now = {};
        ::sigaction(signal, nullptr, &now);
        if (now.sa_handler != SIG_IGN)
            ::sigaddset(&ending, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    std::thread([desktop = std::move(desktop), ending] {
        int signal = 0;
        ::sigwait(&ending, &signal);
        desktop->restore();
        std::signal(signal, SIG_DFL);
        ::pthread_sigmask(SIG_UNBLOCK, &ending, nullptr);
        ::raise(signal);
    }).detach();
}

} // namespace

DesktopModule::DesktopModule() = default;
DesktopModule::~DesktopModule() {
    if (m_desktop)
        m_desktop->restore();
}

Result<Desktop *> DesktopModule::desktop() {
    if (m_desktop)
        return m_desktop.get();
    // Never unloaded: its libraries register things that outlive any use of ours.
    void *module = ::dlopen(qUtf8Printable(modulePath()), RTLD_NOW | RTLD_NODELETE);
    if (!module)
        return std::unexpected(
            unavailable(u"The desktop's module cannot be loaded: "_s + QString::fromUtf8(::dlerror())));
    const auto open = reinterpret_cast<decltype(&ombruOpenDesktop)>(::dlsym(module, "ombruOpenDesktop"));
    if (!open)
        return std::unexpected(unavailable(u"%1 is not the desktop's module."_s.arg(modulePath())));
    Failure failure;
    std::unique_ptr<Desktop> opened;
    open(opened, failure);
    if (!opened)
        return std::unexpected(failure);
    m_desktop = std::move(opened);
    watchSignals(m_desktop);
    return m_desktop.get();
}

} // namespace ombru
