#include "wire/AgentMessages.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocale>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype BRIEF = 4096; // UTF-16 units

// With its quotation marks.
void appendText(QByteArray &json, const QString &text) {
    constexpr QByteArrayView HEX = "0123456789abcdef";
    json += '"';
    for (const char byte : text.toUtf8()) {
        if (byte == '"' || byte == '\\')
            json.append('\\').append(byte);
        else if (byte == '\n')
            json += "\\n";
        else if (static_cast<unsigned char>(byte) < ' ')
            json.append("\\u00").append(HEX[byte >> 4]).append(HEX[byte & 0xF]);
        else
            json += byte;
    }
    json += '"';
}

// Most messages are events, and some are very long: written without a tree of values, in a tenth of the time.
QByteArray eventText(const EventMessage &message) {
    QByteArray json;
    json.reserve(message.text.size() + message.text.size() / 8 + 100);
    json += R"({"kind":)";
    appendText(json, message.kind);
    json += R"(,"text":)";
    appendText(json, message.text);
    json += R"(,"ts":)";
    json += QByteArray::number(message.time, 'g', QLocale::FloatingPointShortest);
    return json += R"(,"type":"event"})";
}

StateMessage readState(const QJsonObject &message) {
    StateMessage state{message["busy"_L1].toBool(),
                       message["step"_L1].toInt(),
                       {},
                       message["sharing"_L1].toBool(),
                       message["status"_L1].toString()};
    const auto calls = message["calls"_L1].toArray();
    for (const auto &caller : calls)
        state.calls.append(caller.toString());
    return state;
}

// As far as it is whole: without a character or an escape that was cut through.
QByteArrayView wholeCharacters(QByteArrayView text) {
    constexpr qsizetype LONGEST_ESCAPE = 12; // "\\ud83d\\ude00"
    for (qsizetype dropped = 0; dropped <= LONGEST_ESCAPE && dropped < text.size(); ++dropped) {
        const auto shorter = text.chopped(dropped);
        if (!QJsonDocument::fromJson('[' + ('"' + shorter.toByteArray() + "\"]")).isNull())
            return shorter;
    }
    return {};
}

QByteArrayView withoutBlanks(QByteArrayView bytes) {
    while (!bytes.isEmpty() && QByteArrayView(" \t\r\n").contains(bytes.front()))
        bytes = bytes.sliced(1);
    return bytes;
}

QByteArrayView upToQuote(QByteArrayView text) {
    qsizetype end = 0;
    while (end < text.size() && text[end] != '"')
        end += text[end] == '\\' ? 2 : 1;
    return text.first(std::min(end, text.size()));
}

// Of an object that may end anywhere: the value of a text, as much as is there. In a text a quote has a backslash
// before it, so that a name between quotes and before a colon is one.
std::optional<QString> textMember(QByteArrayView object, QByteArrayView quotedName) {
    for (auto at = object.indexOf(quotedName); at >= 0; at = object.indexOf(quotedName, at + 1)) {
        const auto colon = withoutBlanks(object.sliced(at + quotedName.size()));
        if (!colon.startsWith(':'))
            continue;
        const auto value = withoutBlanks(colon.sliced(1));
        if (!value.startsWith('"'))
            return std::nullopt;
        const auto text = wholeCharacters(upToQuote(value.sliced(1))).toByteArray();
        return QJsonDocument::fromJson("[\"" + text + "\"]")[0].toString();
    }
    return std::nullopt;
}

} // namespace

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

QByteArray jsonText(const AgentMessage &message) {
    if (const auto *event = std::get_if<EventMessage>(&message))
        return eventText(*event);
    return QJsonDocument(toJson(message)).toJson(QJsonDocument::Compact);
}

bool isBrief(const AgentMessage &message) {
    const auto *event = std::get_if<EventMessage>(&message);
    return event ? event->text.size() <= BRIEF : !std::holds_alternative<ScreenshotMessage>(message);
}

std::optional<AgentMessage> agentMessage(const QJsonObject &message) {
    const auto type = message["type"_L1].toString();
    if (type == "event"_L1)
        return EventMessage{message["kind"_L1].toString(), message["text"_L1].toString(), message["ts"_L1].toDouble()};
    if (type == "state"_L1)
        return readState(message);
    if (type == "screenshot"_L1)
        return ScreenshotMessage{message["step"_L1].toInt(), message["ts"_L1].toDouble(),
                                 QByteArray::fromBase64(message["jpeg"_L1].toString().toLatin1())};
    if (type == "hello"_L1)
        return HelloMessage{};
    return std::nullopt;
}

std::optional<EventMessage> beginningOfEvent(QByteArrayView bytes) {
    const auto text = textMember(bytes, "\"text\"");
    if (!text || textMember(bytes, "\"type\"").value_or(u"event"_s) != "event"_L1)
        return std::nullopt;
    return EventMessage{textMember(bytes, "\"kind\"").value_or(u"result"_s), *text, 0};
}

} // namespace ombru
