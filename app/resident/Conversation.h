// One who came through the application's door: a request, and what it takes to answer it. Main thread; held by the door
// until both the connection and the command are over.
#pragma once
#include "app/cli/Request.h"
#include "app/cli/StateCommand.h"
#include "app/resident/EventHistory.h"
#include "app/resident/RemoteTerminal.h"
#include "app/resident/Shell.h"
#include "platform/PeerProcess.h"

namespace ombru {

class Conversation : public std::enable_shared_from_this<Conversation> {
public:
    // What the application lends it; all of it outlives the conversation.
    struct House {
        AppState &state;
        const EventHistory &history;
        TaskScope &tasks;
        Shell *shell = nullptr; // none: it runs without a panel
    };

    Conversation(const House &house, std::unique_ptr<QLocalSocket> socket, const Peer &peer);

    void start();
    void refuse(const QString &why, int status); // instead of taking a request
    void interrupt();                            // ends the command
    bool isOver() const { return m_gone && !m_running; }

private:
    void take(const QJsonObject &line);
    void lose(ControlLines::Trouble trouble);
    void leave(int status);
    void begin(const AppRequest &wanted);
    std::unique_ptr<StateCommand> commandFor(const AppRequest &wanted);
    static Task<> serve(std::shared_ptr<Conversation> self);

    House m_house;
    ControlLines m_lines;
    RemoteTerminal m_terminal;
    Peer m_peer;
    std::unique_ptr<StateCommand> m_command;
    bool m_running = false;
    bool m_refused = false;
    bool m_gone = false;
    Timer m_patience; // for a request, and for the other end to go
};

} // namespace ombru
