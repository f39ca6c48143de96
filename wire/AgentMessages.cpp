#include "wire/AgentMessages.h"

#include <QJsonArray>

namespace ombru {

using namespace Qt::StringLiterals;

QJsonObject toJson(const HelloMessage & /*message*/) {
    return {{u"type"_s, u"hello"_s}};
}

QJsonObject toJson(const StateMessage &message) {
    return {{u"type"_s, u"state"_s},         {u"busy"_s, message.busy},
            {u"step"_s, message.step},       {u"calls"_s, QJsonArray::fromStringList(message.calls)},
            {u"sharing"_s, message.sharing}, {u"status"_s, message.status}};
}

QJsonObject toJson(const EventMessage &message) {
    return {{u"type"_s, u"event"_s}, {u"kind"_s, message.kind}, {u"text"_s, message.text}, {u"ts"_s, message.time}};
}

QJsonObject toJson(const ScreenshotMessage &message) {
    return {{u"type"_s, u"screenshot"_s},
            {u"step"_s, message.step},
            {u"ts"_s, message.time},
            {u"jpeg"_s, QString::fromLatin1(message.jpeg.toBase64())}};
}

QJsonObject toJson(const AgentMessage &message) {
    return std::visit([](const auto &each) { return toJson(each); }, message);
}

} // namespace ombru
