#include "app/resident/Resident.h"

#include "app/cli/CommandLine.h"
#include "app/cli/CommandLoop.h"
#include "app/cli/EventPrinter.h"
#include "app/cli/Suspension.h"
#include "app/control/ControlPlace.h"
#include "app/resident/OneInstance.h"
#include "base/Background.h"
#include "notifier/Notifier.h"

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

// From the request to end; together less than two seconds, of which killing may take one.
constexpr Clock::Duration BEFORE_KILLING = 700ms;
constexpr Clock::Duration BEFORE_LEAVING = 1800ms;
constexpr Clock::Duration FINISHING = 100ms; // for what runs in the background

} // namespace

Resident::Resident(QString socket, Shell *shell) : m_socket(std::move(socket)), m_door(m_state, shell) {
    m_heard = m_state.onEvent([this](const Event &event) {
        if (m_terminal.isInteractive())
            m_terminal.print(terminalText(event), colourOf(event.kind));
    });
}

Task<int> Resident::run() {
    if (const auto opened = m_door.open(m_socket); !opened) {
        m_terminal.complain(opened.error().description);
        co_await end();
        co_return 1;
    }
    m_terminal.print(u"ombru is running. Ctrl-C ends it."_s);
    m_tasks.start(m_state.boot());
    co_await m_asked;
    co_await end();
    co_return 0;
}

void Resident::interrupt() {
    m_killing = Loop::main().after(BEFORE_KILLING, [] { Process::killAll(); });
    m_leaving = Loop::main().after(BEFORE_LEAVING, [] { std::_Exit(0); });
    m_asked.fire();
}

Task<> Resident::end() {
    const auto tasks = m_tasks.drain();
    co_await m_state.drain();
    co_await m_door.end();
    co_await tasks;
    co_await Notifier::delivered();
}

int runCommand(HeadlessOptions) {
    const auto socket = controlSocket();
    const auto lock = socket ? lockInstance(*socket) : std::unexpected(socket.error());
    if (!lock || !*lock) {
        qCritical("%s", lock ? "ombru is running already: `ombru status` tells about it."
                             : qUtf8Printable(lock.error().description));
        return 1;
    }
    int status = 0;
    {
        Resident resident(*socket);
        const Suspension suspension({});
        status = runLoop(resident);
    }
    if (!finishBackground(FINISHING))
        std::_Exit(status);
    return status;
}

} // namespace ombru
