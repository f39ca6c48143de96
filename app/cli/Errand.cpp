#include "app/cli/Errand.h"

#include "app/cli/EventPrinter.h"

namespace ombru {

using namespace Qt::StringLiterals;

struct Errand::Here {
    AppState state;
    TaskScope tasks;
    std::unique_ptr<StateCommand> command;
    Subscription warned; // what the owner should know beside the answer
};

Task<int> Errand::run() {
    m_door = Door::open();
    if (m_door)
        co_return co_await askApplication();
    if (m_make)
        co_return co_await doHere();
    m_terminal.complain(u"The application is not running: `ombru --headless` starts it."_s);
    co_return 1;
}

void Errand::interrupt() {
    if (m_door)
        m_door->cancel();
    else if (m_here)
        m_here->command->interrupt();
}

Task<int> Errand::askApplication() {
    const int status = co_await m_door->ask(m_request, m_terminal, [this](const QJsonObject &line) {
        const auto event = eventOf(line);
        if (event && onEvent)
            onEvent(m_terminal, *event);
        else if (event)
            m_terminal.print(terminalText(*event), colourOf(event->kind));
        else
            show(m_terminal, line);
        if (m_terminal.isBroken())
            interrupt(); // nobody reads any more
    });
    m_terminal.showLive({});
    co_return m_terminal.statusWhenSeen(status);
}

Task<int> Errand::doHere() {
    m_here = std::make_shared<Here>();
    auto &here = *m_here;
    here.warned = here.state.onEvent([this, &here](const Event &event) {
        if (event.kind == EventKind::warn && !(here.command && here.command->tells(event)))
            m_terminal.complain(event.text);
    });
    here.command = m_make({here.state, m_terminal, here.tasks});
    const int status = co_await here.command->run();
    co_await here.state.drain();
    co_await here.tasks.drain();
    co_return status;
}

int runErrand(const AppRequest &wanted, Errand::Maker make) {
    Errand errand(wanted, std::move(make));
    return runLoop(errand);
}

} // namespace ombru
