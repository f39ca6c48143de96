#include "service/live/Json.h"

#include <QJsonDocument>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

QString idText(qint64 id) {
    return QString::number(id);
}

QJsonValue stateJson(const Presence &presence) {
    if (!presence.state)
        return QJsonValue::Null;
    const auto &state = *presence.state;
    return QJsonObject{{u"busy"_s, state.busy},
                       {u"step"_s, state.step},
                       {u"calls"_s, QJsonArray::fromStringList(state.calls)},
                       {u"sharing"_s, state.sharing},
                       {u"status"_s, state.status},
                       {u"received"_s, presence.stateReceived}};
}

QString pictureURL(const Item &item) {
    return u"/api/pictures/"_s + idText(*item.picture);
}

QJsonValue pictureJson(const Presence &presence) {
    if (!presence.picture)
        return QJsonValue::Null;
    const auto &item = *presence.picture;
    return QJsonObject{
        {u"id"_s, idText(*item.picture)}, {u"url"_s, pictureURL(item)}, {u"time"_s, item.time}, {u"step"_s, item.step}};
}

} // namespace

QJsonValue orNull(const std::optional<double> &number) {
    return number ? QJsonValue(*number) : QJsonValue(QJsonValue::Null);
}

QJsonObject toJson(const ComputerRecord &computer, const Presence &presence) {
    return {{u"id"_s, idText(computer.id)},
            {u"name"_s, computer.name},
            {u"platform"_s, computer.platform},
            {u"signedIn"_s, computer.signedIn},
            {u"address"_s, computer.address},
            {u"revoked"_s, computer.revoked},
            {u"fetchedAt"_s, orNull(computer.fetched)},
            {u"online"_s, presence.online},
            {u"since"_s, orNull(presence.since)},
            {u"state"_s, stateJson(presence)},
            {u"listening"_s, presence.listening},
            {u"picture"_s, pictureJson(presence)},
            {u"lastTask"_s, presence.lastTask ? QJsonValue(toJson(*presence.lastTask)) : QJsonValue()}};
}

QJsonObject toJson(const TaskRecord &task) {
    return {{u"id"_s, idText(task.id)}, {u"computer"_s, idText(task.computer)},
            {u"text"_s, task.text},     {u"from"_s, task.from},
            {u"began"_s, task.began},   {u"ended"_s, orNull(task.ended)},
            {u"steps"_s, task.steps},   {u"outcome"_s, task.outcome},
            {u"answer"_s, task.answer}};
}

QJsonObject toJson(const Item &item) {
    QJsonObject json{{u"number"_s, item.number},
                     {u"computer"_s, idText(item.computer)},
                     {u"task"_s, item.task ? QJsonValue(idText(*item.task)) : QJsonValue()},
                     {u"step"_s, item.step},
                     {u"time"_s, item.time},
                     {u"kind"_s, item.kind}};
    if (item.picture) {
        json[u"picture"_s] = idText(*item.picture);
        json[u"url"_s] = pictureURL(item);
        return json;
    }
    json[u"text"_s] = item.text;
    if (item.cutFrom)
        json[u"cutFrom"_s] = *item.cutFrom;
    return json;
}

QJsonArray toJson(const std::vector<Item> &items) {
    QJsonArray all;
    for (const auto &item : items)
        all.append(toJson(item));
    return all;
}

QByteArray itemsMessage(qint64 computer, const std::vector<Item> &items) {
    return jsonText({{u"type"_s, u"items"_s}, {u"computer"_s, idText(computer)}, {u"items"_s, toJson(items)}});
}

QByteArray jsonText(const QJsonObject &object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace ombru
