// What the page is told, as JSON. Pure.
#pragma once
#include "service/store/Records.h"

#include <QJsonArray>
#include <QJsonObject>

namespace ombru {

// What is known of a computer right now, besides what is kept.
struct Presence {
    bool online = false;
    std::optional<double> since; // online, or when it was seen last
    std::optional<StateMessage> state;
    double stateReceived = 0;
    bool listening = false; // a page hears it
    std::optional<TaskRecord> lastTask;
    std::optional<Item> picture; // the newest
};

QJsonObject toJson(const ComputerRecord &computer, const Presence &presence);
QJsonObject toJson(const TaskRecord &task);
QJsonObject toJson(const Item &item);
QJsonArray toJson(const std::vector<Item> &items);

QByteArray itemsMessage(qint64 computer, const std::vector<Item> &items); // to a page

QByteArray jsonText(const QJsonObject &object);
QJsonValue orNull(const std::optional<double> &number);

} // namespace ombru
