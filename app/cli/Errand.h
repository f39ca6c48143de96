// A command that the application does when it runs, and this process otherwise. Main thread.
#pragma once
#include "app/cli/CommandLoop.h"
#include "app/cli/Door.h"
#include "app/cli/Request.h"
#include "app/cli/StateCommand.h"
#include "app/cli/Terminal.h"

namespace ombru {

class Errand {
public:
    using Maker = std::function<std::unique_ptr<StateCommand>(const CommandPlace &place)>;

    // Without a maker only the application can do it.
    explicit Errand(const AppRequest &wanted, Maker make = {}) : m_request(request(wanted)), m_make(std::move(make)) {}

    Task<int> run(); // the exit status
    void interrupt();

    // Instead of printing it in its colour; for events.
    std::function<void(Terminal &terminal, const Event &event)> onEvent;

private:
    struct Here; // what it works with in this process

    Task<int> askApplication();
    Task<int> doHere();

    QJsonObject m_request;
    Maker m_make;
    Terminal m_terminal;
    std::unique_ptr<Door> m_door;
    std::shared_ptr<Here> m_here;
};

int runErrand(const AppRequest &wanted, Errand::Maker make = {});

} // namespace ombru
