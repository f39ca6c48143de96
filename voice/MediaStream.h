// What a telephony provider and a call say to each other over a WebSocket: JSON objects with an "event". Plain values,
// any thread.
#pragma once
#include <QByteArray>
#include <QString>

#include <optional>
#include <variant>

namespace ombru {

// Replaces what the call was made with; what is absent or empty leaves it.
struct StreamConfig {
    QString key;
    QString greeting;
    QString ttsModel;
    std::optional<bool> shareAudio;
};

struct StreamStart {
    std::optional<QString> streamSid;
    std::optional<QString> callSid;
    std::optional<QString> from; // the caller, as the provider knows him
};

// The caller's voice: mu-law, 8000 bytes a second.
struct StreamMedia {
    QByteArray sound;
};

struct StreamStop {};

using StreamMessage = std::variant<StreamConfig, StreamStart, StreamMedia, StreamStop>;

// None for what a call does not act upon: other events, other tracks than the caller's, and what is no object.
std::optional<StreamMessage> streamMessage(const QString &text);

// Discards what the provider has buffered to play.
QByteArray clearMessage(const QString &streamSid);

// The totals since the call began: seconds of the caller's voice, characters that were synthesised.
QByteArray usageMessage(double sttSeconds, int ttsChars);

// Builds the messages that carry a call's outgoing sound, by filling in a prepared text.
class MediaTemplate {
public:
    explicit MediaTemplate(const QString &streamSid);

    QByteArray message(QByteArrayView sound) const; // mu-law

private:
    QByteArray m_head;
};

} // namespace ombru
