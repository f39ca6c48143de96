// The messages a computer sends to the service's web page, as values and as the JSON objects on the wire: written by
// the computer, read by the service. Plain values, any thread.
#pragma once
#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>
#include <variant>

namespace ombru {

// The first words on a channel.
struct HelloMessage {
    bool operator==(const HelloMessage &) const = default;
};

// What the computer is doing.
struct StateMessage {
    bool busy = false;
    int step = 0;      // turn of the running task, from 1; 0 before the first
    QStringList calls; // callers of the open calls
    bool sharing = false;
    QString status;

    bool operator==(const StateMessage &) const = default;
};

// One line of the event log.
struct EventMessage {
    QString kind;
    QString text;
    double time = 0; // seconds since 1970

    bool operator==(const EventMessage &) const = default;
};

// A small picture of the screen at the head of a turn.
struct ScreenshotMessage {
    int step = 0;
    double time = 0; // seconds since 1970
    QByteArray jpeg;

    bool operator==(const ScreenshotMessage &) const = default;
};

using AgentMessage = std::variant<HelloMessage, StateMessage, EventMessage, ScreenshotMessage>;

QJsonObject toJson(const HelloMessage &message);
QJsonObject toJson(const StateMessage &message);
QJsonObject toJson(const EventMessage &message);
QJsonObject toJson(const ScreenshotMessage &message);
QJsonObject toJson(const AgentMessage &message);

// As it goes on the wire, in UTF-8.
QByteArray jsonText(const AgentMessage &message);

// Whether jsonText() takes no time that anybody would notice.
bool isBrief(const AgentMessage &message);

// None for what is no message of these: another type, or something in the wrong form. What is missing is as in a new
// value.
std::optional<AgentMessage> agentMessage(const QJsonObject &message);

// What the beginning of an event's JSON tells when the rest was too long to keep: its kind, and as much of its text as
// is there, whatever comes first. A kind that is not there is "result": nothing else is that long. The time is 0. None
// when it is the beginning of something else.
std::optional<EventMessage> beginningOfEvent(QByteArrayView bytes);

} // namespace ombru
