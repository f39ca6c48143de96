// A command's way to the application that stays. Main thread; one request a door.
#pragma once
#include "app/cli/Output.h"
#include "app/control/ControlLines.h"
#include "base/Loop.h"
#include "base/Task.h"
#include "controller/Event.h"

#include <optional>

namespace ombru {

class Door {
public:
    using Handler = std::function<void(const QJsonObject &line)>;

    // None when the application does not run.
    static std::unique_ptr<Door> open();

    // Hands the request over, and each line of what comes back to the handler. The exit status; 1 when the application
    // ends meanwhile, and 130 after a cancel of what it has not even taken. That is said among the errors of `output`,
    // and so is a silence of some seconds.
    Task<int> ask(QJsonObject request, Output &output, Handler handler);

    void cancel(); // takes the request back; ask() ends soon

private:
    explicit Door(std::unique_ptr<QLocalSocket> socket);

    void hear(const QJsonObject &line, const Handler &handler);
    void complainOfSilence(Output &output) const;

    const qint64 m_application; // its process; 0 when that cannot be seen from here
    ControlLines m_lines;
    Timer m_silence;
    bool m_taken = false;
    std::optional<int> m_status;
    Completion m_over;
};

std::optional<Event> eventOf(const QJsonObject &line); // none for another kind of line

// Does what a line says that is meant for the terminal; others are left alone.
void show(Output &output, const QJsonObject &line);

} // namespace ombru
