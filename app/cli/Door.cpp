#include "app/cli/Door.h"

#include "app/control/ControlPlace.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int CONNECTING = 3000; // milliseconds

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

Task<int> Door::ask(QJsonObject request, Output &output, Handler handler) {
    const Completion over;
    const auto status = std::make_shared<std::optional<int>>();
    m_lines.receive({.onLine =
                         [over, status, handler](const QJsonObject &line) {
                             if (!line.contains("exit"_L1))
                                 return handler(line);
                             *status = line["exit"_L1].toInt(1);
                             over.fire();
                         },
                     .onTrouble = [over](ControlLines::Trouble) { over.fire(); },
                     .onWritten = {}});
    m_lines.send(request);
    co_await over;
    if (!*status)
        output.complain(u"The application has ended."_s);
    co_return status->value_or(1);
}

void Door::cancel() {
    m_lines.send({{u"do"_s, u"cancel"_s}});
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
