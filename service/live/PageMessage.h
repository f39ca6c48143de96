// What a page says on its socket, as values. Pure.
#pragma once
#include <QByteArray>
#include <QString>

#include <optional>
#include <variant>

namespace ombru {

// The items of a computer behind a number, and those that come.
struct WatchRequest {
    qint64 computer = 0;
    std::optional<qint64> after; // none: it has nothing yet

    bool operator==(const WatchRequest &) const = default;
};
struct UnwatchRequest {
    bool operator==(const UnwatchRequest &) const = default;
};
struct TaskRequest {
    qint64 computer = 0;
    QString text;

    bool operator==(const TaskRequest &) const = default;
};
struct CancelRequest {
    qint64 computer = 0;

    bool operator==(const CancelRequest &) const = default;
};
struct ListenRequest {
    qint64 computer = 0;
    bool on = false;

    bool operator==(const ListenRequest &) const = default;
};
using PageMessage = std::variant<WatchRequest, UnwatchRequest, TaskRequest, CancelRequest, ListenRequest>;

// None for what is none of them. A computer that is not named, or in another form than a text, is 0.
std::optional<PageMessage> pageMessage(QByteArrayView bytes);

} // namespace ombru
