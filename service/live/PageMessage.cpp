#include "service/live/PageMessage.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace ombru {

using namespace Qt::StringLiterals;

std::optional<PageMessage> pageMessage(QByteArrayView bytes) {
    const auto message = QJsonDocument::fromJson(bytes.toByteArray()).object();
    const auto type = message["type"_L1].toString();
    const auto computer = message["computer"_L1].toString().toLongLong();
    const auto after = message["after"_L1].toInteger(-1);
    if (type == "watch"_L1)
        return WatchRequest{computer, after < 0 ? std::nullopt : std::optional(after)};
    if (type == "unwatch"_L1)
        return UnwatchRequest{};
    if (type == "task"_L1)
        return TaskRequest{computer, message["text"_L1].toString()};
    if (type == "cancel"_L1)
        return CancelRequest{computer};
    if (type == "listen"_L1)
        return ListenRequest{computer, message["on"_L1].toBool()};
    return std::nullopt;
}

} // namespace ombru
