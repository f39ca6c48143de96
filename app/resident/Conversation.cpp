#include "app/resident/Conversation.h"

#include "app/cli/NewSessionCommand.h"
#include "app/cli/SignInCommand.h"
#include "app/cli/StatusCommand.h"
#include "app/cli/TestClaudeCommand.h"
#include "app/resident/DoorCommands.h"
#include "platform/DesktopLock.h"

#include <QJsonDocument>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr qint64 LONGEST_REQUEST = 1 << 20; // bytes
constexpr Clock::Duration PATIENCE = 10s;   // for a request

// Why a process below a script is turned away; nothing: it is not.
std::optional<QString> refusalForScripts(const AppRequest &wanted) {
    if (std::holds_alternative<RunOptions>(wanted))
        return u"A script cannot hand the application a task."_s;
    if (std::holds_alternative<PanelOptions>(wanted))
        return u"A script cannot open the panel."_s;
    if (std::holds_alternative<CallAccessOptions>(wanted))
        return u"A script cannot place a call."_s;
    if (std::holds_alternative<SignInOptions>(wanted) || std::holds_alternative<SignOutOptions>(wanted))
        return notForScriptsText();
    return {};
}

} // namespace

Conversation::Conversation(const House &house, std::unique_ptr<QLocalSocket> socket, const Peer &peer)
    : m_house(house), m_lines(std::move(socket), LONGEST_REQUEST), m_terminal(m_lines), m_peer(peer) {}

void Conversation::start() {
    m_patience = Loop::main().after(PATIENCE, [this] { refuse(u"No request came."_s, WRONG_WORDS); });
    m_lines.receive({.onLine = [this](const QJsonObject &line) { take(line); },
                     .onTrouble = [this](ControlLines::Trouble trouble) { lose(trouble); },
                     .onWritten = [this] { m_terminal.makeRoom(); }});
}

void Conversation::take(const QJsonObject &line) {
    if (m_running) {
        if (line["do"_L1] == "cancel"_L1)
            interrupt();
        return;
    }
    if (m_refused || m_command)
        return;
    m_patience.cancel();
    if (const auto wanted = requested(line))
        begin(*wanted);
    else
        refuse(u"That is no request."_s, WRONG_WORDS);
}

void Conversation::lose(ControlLines::Trouble trouble) {
    if (trouble == ControlLines::Trouble::closed) {
        m_patience.cancel();
        m_gone = true;
    } else if (trouble == ControlLines::Trouble::garbage) {
        refuse(u"A request is a JSON object in one line."_s, WRONG_WORDS);
    } else {
        refuse(u"A request has %1 bytes at most."_s.arg(LONGEST_REQUEST), WRONG_WORDS);
    }
    interrupt();
}

void Conversation::interrupt() {
    if (m_running)
        m_command->interrupt();
}

void Conversation::refuse(const QString &why, int status) {
    m_refused = true;
    m_terminal.complain(why);
    leave(status);
}

// The other end goes when it has read the last line; one that closed first would take unread lines away from it.
void Conversation::leave(int status) {
    m_terminal.exit(status);
    if (!m_gone)
        m_patience = Loop::main().after(PATIENCE, [this] { m_lines.close(); });
}

void Conversation::begin(const AppRequest &wanted) {
    if (const auto why = refusalForScripts(wanted); why && servesAScript(m_peer.process))
        return refuse(*why, 1);
    const auto *task = std::get_if<RunOptions>(&wanted);
    if (task && !task->display.isEmpty() && task->display != desktopName()) {
        m_terminal.send({{u"elsewhere"_s, true}});
        return leave(0);
    }
    m_lines.send({{u"taken"_s, true}});
    m_command = commandFor(wanted);
    m_running = true;
    m_house.tasks.start(serve(shared_from_this()));
}

std::unique_ptr<StateCommand> Conversation::commandFor(const AppRequest &wanted) {
    struct Make {
        CommandPlace place;
        const EventHistory &history;
        RemoteTerminal &terminal;
        Shell *shell;
        using Made = std::unique_ptr<StateCommand>;
        Made operator()(const RunOptions &o) { return std::make_unique<HandedTask>(place.state, terminal, o); }
        Made operator()(const StatusOptions &o) { return std::make_unique<StatusCommand>(place, o); }
        Made operator()(TestClaudeOptions) { return std::make_unique<TestClaudeCommand>(place); }
        Made operator()(const SignInOptions &o) { return std::make_unique<SignInCommand>(place, o); }
        Made operator()(SignOutOptions) { return std::make_unique<SignOutCommand>(place); }
        Made operator()(StopOptions) { return std::make_unique<StopCommand>(place); }
        Made operator()(NewSessionOptions) { return std::make_unique<NewSessionCommand>(place); }
        Made operator()(ShareAudioOptions o) { return std::make_unique<ShareAudioCommand>(place, o); }
        Made operator()(CallAccessOptions) { return std::make_unique<CallAccessCommand>(place, terminal); }
        Made operator()(PanelOptions o) { return std::make_unique<PanelCommand>(place.output, shell, o); }
        Made operator()(LogOptions o) { return std::make_unique<LogCommand>(place.state, history, terminal, o); }
    };
    return std::visit(
        Make{{m_house.state, m_terminal, m_house.tasks, true}, m_house.history, m_terminal, m_house.shell}, wanted);
}

Task<> Conversation::serve(std::shared_ptr<Conversation> self) {
    const int status = co_await self->m_command->run();
    self->leave(status);
    self->m_running = false;
}

} // namespace ombru
