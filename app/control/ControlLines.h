// One end of a connection between the application and a command: JSON objects, one a line, over a local socket. Main
// thread. Owns the socket; the callbacks may drop the object that they belong to.
//
// The command asks once: {"do": "status", ...}, and may take it back: {"do": "cancel"}. What comes back, the last line
// being the exit status:
//
//     {"taken": true}                                   at once: the application answers
//     {"kind": "good", "text": "✓ 42", "ts": 1.7e9}     an event of the log
//     {"dropped": 3}                                    so many events that were not taken in time
//     {"line": "...", "colour": 4}  {"raw": "..."}      for the terminal
//     {"live": "..."}  {"error": "..."}                 its live line; for its errors
//     {"progress": "...", "cancelling": false}          of the task
//     {"ended": {...}}                                  the task; see TaskReport
//     {"call": {"port": 8765, "token": "..."}}          where a call may be placed
//     {"elsewhere": true}                               the application works on another display
//     {"exit": 0}
#pragma once
#include "base/Failure.h"

#include <QJsonObject>
#include <QLocalSocket>

#include <functional>
#include <memory>

namespace ombru {

class ControlLines {
public:
    enum class Trouble {
        closed,  // the other end has gone; nothing comes after it
        tooLong, // a line without an end: what follows is thrown away
        garbage, // a line that is no object: the same
    };
    struct Receiver {
        std::function<void(const QJsonObject &)> onLine;
        std::function<void(Trouble)> onTrouble;
        std::function<void()> onWritten; // some of what was sent has been taken
    };

    // No line may be longer than `longest` bytes; 0 for one who may send what it wants.
    ControlLines(std::unique_ptr<QLocalSocket> socket, qint64 longest);
    ~ControlLines();
    ControlLines(const ControlLines &) = delete;
    ControlLines &operator=(const ControlLines &) = delete;

    void receive(Receiver receiver); // from now on
    void send(const QJsonObject &object);
    void close(); // once all that was sent has been taken
    bool isOpen() const;
    qint64 unread() const; // bytes that were sent and not taken

private:
    void read();
    void turnDeaf(Trouble why);

    struct ToGo {
        void operator()(QLocalSocket *socket) const { socket->deleteLater(); } // it may be in the middle of telling
    };
    std::unique_ptr<QLocalSocket, ToGo> m_socket;
    qint64 m_longest;
    bool m_deaf = false;
    std::shared_ptr<Receiver> m_receiver; // whoever calls it looks whether it is still wanted
};

} // namespace ombru
