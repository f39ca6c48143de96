// What the service's web page asks of a computer, as values and as the JSON objects on the wire: written by the
// service, read by the computer. Plain values, any thread.
#pragma once
#include <QJsonObject>
#include <QString>

#include <optional>
#include <variant>

namespace ombru {

struct TaskCommand {
    QString text; // without white space around it; may be empty
    bool operator==(const TaskCommand &) const = default;
};
struct CancelCommand {
    bool operator==(const CancelCommand &) const = default;
};
struct ListenCommand {
    bool on = false;
    bool operator==(const ListenCommand &) const = default;
};
using AgentCommand = std::variant<TaskCommand, CancelCommand, ListenCommand>;

QJsonObject toJson(const TaskCommand &command);
QJsonObject toJson(const CancelCommand &command);
QJsonObject toJson(const ListenCommand &command);

// None for a message of a type that this computer does not know.
std::optional<AgentCommand> agentCommand(const QJsonObject &message);

} // namespace ombru
