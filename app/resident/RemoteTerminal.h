// The terminal at the other end of the application's door. What its owner does not take waits here, and not without
// limit: then events are dropped, and counted. Main thread.
#pragma once
#include "app/cli/Output.h"
#include "app/control/ControlLines.h"
#include "controller/Event.h"

namespace ombru {

class RemoteTerminal final : public Output {
public:
    explicit RemoteTerminal(ControlLines &lines) : m_lines(lines) {} // which outlive this

    void print(const QString &text, Colour colour = Colour::plain) override;
    void printRaw(const QByteArray &line) override;
    void showLive(const QString &text) override;
    void complain(const QString &text) override;
    int statusWhenSeen(int status) const override { return status; } // the other end looks itself

    void tell(const Event &event);
    void tellRaw(const QByteArray &line); // of an event, for another program
    void send(const QJsonObject &line);   // however much waits already
    void showProgress(const QString &line);

    void exit(int status); // the last line
    void makeRoom();       // some has been taken

private:
    bool isFull() const;
    bool hasRoom(); // else what was to be told is dropped
    void tellDropped();

    ControlLines &m_lines;
    qint64 m_dropped = 0; // events
    bool m_over = false;
};

} // namespace ombru
