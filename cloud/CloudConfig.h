// The account's configuration as the service sends it; the default record is what counts until it has sent one.
#pragma once
#include <QJsonObject>
#include <QString>

namespace ombru {

struct CloudConfig {
    QString email;
    bool trusted = false; // calls may reach this computer
    QString systemPrompt;
    QString wsToken;     // of the local call server
    QString deepgramKey; // of the speech service
    QString greeting = QStringLiteral("Hey, what can I help you with?");
    QString ttsModel = QStringLiteral("aura-2-thalia-en");
    bool shareAudio = true;

    // What is missing or of another type keeps its default; so does an empty greeting or voice. Sharing is off for the
    // text "off" alone.
    static CloudConfig from(const QJsonObject &object);

    bool operator==(const CloudConfig &) const = default;
};

} // namespace ombru
