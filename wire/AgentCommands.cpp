#include "wire/AgentCommands.h"

namespace ombru {

using namespace Qt::StringLiterals;

QJsonObject toJson(const TaskCommand &command) {
    return {{u"type"_s, u"task"_s}, {u"text"_s, command.text}};
}

QJsonObject toJson(const CancelCommand & /*command*/) {
    return {{u"type"_s, u"cancel"_s}};
}

QJsonObject toJson(const ListenCommand &command) {
    return {{u"type"_s, u"listen"_s}, {u"on"_s, command.on}};
}

std::optional<AgentCommand> agentCommand(const QJsonObject &message) {
    const auto type = message["type"_L1].toString();
    if (type == "task"_L1)
        return TaskCommand{message["text"_L1].toString().trimmed()};
    if (type == "cancel"_L1)
        return CancelCommand{};
    if (type == "listen"_L1)
        return ListenCommand{message["on"_L1].toBool()};
    return std::nullopt;
}

} // namespace ombru
