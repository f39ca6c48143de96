#include "voice/MediaStream.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr QByteArrayView MEDIA_TAIL = R"("}})";

std::optional<QString> textOf(const QJsonValue &value) {
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

StreamConfig configOf(const QJsonObject &message) {
    StreamConfig config{message["deepgram_key"_L1].toString(), message["greeting"_L1].toString(),
                        message["tts_model"_L1].toString(), std::nullopt};
    if (const auto share = textOf(message["share_audio"_L1]))
        config.shareAudio = *share != "off"_L1;
    return config;
}

StreamStart startOf(const QJsonObject &start) {
    return {textOf(start["streamSid"_L1]), textOf(start["callSid"_L1]),
            textOf(start["customParameters"_L1].toObject()["from"_L1])};
}

std::optional<StreamMessage> mediaOf(const QJsonObject &media) {
    if (media["track"_L1].toString(u"inbound"_s) != "inbound"_L1)
        return {};
    return StreamMedia{QByteArray::fromBase64(media["payload"_L1].toString().toLatin1())};
}

QByteArray compact(const QJsonObject &object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// With its quotation marks.
QByteArray jsonText(const QString &text) {
    const auto list = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return list.sliced(1, list.size() - 2);
}

} // namespace

std::optional<StreamMessage> streamMessage(const QString &text) {
    const auto message = QJsonDocument::fromJson(text.toUtf8()).object();
    const auto event = message["event"_L1].toString();
    if (event == "media"_L1)
        return mediaOf(message["media"_L1].toObject());
    if (event == "start"_L1)
        return startOf(message["start"_L1].toObject());
    if (event == "config"_L1)
        return configOf(message);
    if (event == "stop"_L1)
        return StreamStop{};
    return {};
}

QByteArray clearMessage(const QString &streamSid) {
    return compact({{u"event"_s, u"clear"_s}, {u"streamSid"_s, streamSid}});
}

QByteArray usageMessage(double sttSeconds, int ttsChars) {
    const QJsonObject usage{{u"stt_seconds"_s, std::round(sttSeconds * 100) / 100}, {u"tts_chars"_s, ttsChars}};
    return compact({{u"event"_s, u"usage"_s}, {u"usage"_s, usage}});
}

MediaTemplate::MediaTemplate(const QString &streamSid)
    : m_head(R"({"event":"media","streamSid":)" + jsonText(streamSid) + R"(,"media":{"payload":")") {}

QByteArray MediaTemplate::message(QByteArrayView sound) const {
    const auto payload = QByteArray::fromRawData(sound.data(), sound.size()).toBase64();
    QByteArray message;
    message.reserve(m_head.size() + payload.size() + MEDIA_TAIL.size());
    return message.append(m_head).append(payload).append(MEDIA_TAIL);
}

} // namespace ombru
