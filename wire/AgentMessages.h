// The messages this computer sends to the service's web page, as values and as the JSON objects on the wire.
// Plain values, any thread.
#pragma once
#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <variant>

namespace ombru {

// The first words on a channel.
struct HelloMessage {};

// What the computer is doing.
struct StateMessage {
    bool busy = false;
    int step = 0;      // turn of the running task, from 1; 0 before the first
    QStringList calls; // callers of the open calls
    bool sharing = false;
    QString status;
};

// One line of the event log.
struct EventMessage {
    QString kind;
    QString text;
    double time = 0; // seconds since 1970
};

// A small picture of the screen at the head of a turn.
struct ScreenshotMessage {
    int step = 0;
    double time = 0; // seconds since 1970
    QByteArray jpeg;
};

using AgentMessage = std::variant<HelloMessage, StateMessage, EventMessage, ScreenshotMessage>;

QJsonObject toJson(const HelloMessage &message);
QJsonObject toJson(const StateMessage &message);
QJsonObject toJson(const EventMessage &message);
QJsonObject toJson(const ScreenshotMessage &message);
QJsonObject toJson(const AgentMessage &message);

} // namespace ombru
