#include "app/cli/Door.h"

#include "app/control/ControlPlace.h"
#include "platform/PeerProcess.h"

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr int CONNECTING = 3000;        // milliseconds
constexpr Clock::Duration SILENCE = 5s; // of an application that works
constexpr int GIVEN_UP = 130;

} // namespace

std::unique_ptr<Door> Door::open() {
    const auto place = controlSocket();
    if (!place)
        return nullptr;
    auto socket = std::make_unique<QLocalSocket>();
    socket->connectToServer(*place);
    if (!socket->waitForConnected(CONNECTING))
        return nullptr;
    return std::unique_ptr<Door>(new Door(std::move(socket)));
}

Door::Door(std::unique_ptr<QLocalSocket> socket)
    : m_application(peerOf(static_cast<int>(socket->socketDescriptor())).value_or(Peer{}).process),
      m_lines(std::move(socket), 0) {}

Task<int> Door::ask(QJsonObject request, Output &output, Handler handler) {
    m_lines.receive({.onLine = [this, handler](const QJsonObject &line) { hear(line, handler); },
                     .onTrouble = [over = m_over](ControlLines::Trouble) { over.fire(); },
                     .onWritten = {}});
    m_silence = Loop::main().after(SILENCE, [this, &output] { complainOfSilence(output); });
    m_lines.send(request);
    co_await m_over;
    m_silence.cancel();
    if (!m_status)
        output.complain(u"The application has ended."_s);
    co_return m_status.value_or(1);
}

void Door::hear(const QJsonObject &line, const Handler &handler) {
    m_silence.cancel();
    m_taken = true;
    if (!line.contains("exit"_L1))
        return handler(line);
    m_status = line["exit"_L1].toInt(1);
    m_over.fire();
}

void Door::complainOfSilence(Output &output) const {
    const auto process = m_application > 0 ? QString::number(m_application) : u"PID"_s;
    output.complain(
        u"The application does not answer. `kill -CONT %1` lets it go on if it was stopped, `kill -KILL %1` "
        "ends it with all that it does; Ctrl-C gives up here."_s.arg(process));
}

void Door::cancel() {
    if (m_taken)
        return m_lines.send({{u"do"_s, u"cancel"_s}});
    m_status = GIVEN_UP;
    m_over.fire();
}

std::optional<Event> eventOf(const QJsonObject &line) {
    const auto kind = kindNamed(line["kind"_L1].toString());
    return kind ? std::optional(Event{*kind, line["text"_L1].toString(), line["ts"_L1].toDouble()}) : std::nullopt;
}

void show(Output &output, const QJsonObject &line) {
    if (line.contains("line"_L1)) {
        const int colour = line["colour"_L1].toInt();
        const bool known = colour >= 0 && colour <= static_cast<int>(Colour::cyan);
        output.print(line["line"_L1].toString(), known ? static_cast<Colour>(colour) : Colour::plain);
    } else if (line.contains("raw"_L1)) {
        output.printRaw(line["raw"_L1].toString().toUtf8());
    } else if (line.contains("live"_L1)) {
        output.showLive(line["live"_L1].toString());
    } else if (line.contains("error"_L1)) {
        output.complain(line["error"_L1].toString());
    } else if (line.contains("dropped"_L1)) {
        output.complain(
            u"%1 lines came faster than they were taken, and are not shown."_s.arg(line["dropped"_L1].toInteger()));
    }
}

} // namespace ombru
