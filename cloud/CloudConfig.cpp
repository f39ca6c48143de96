#include "cloud/CloudConfig.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

QString textOr(const QString &text, const QString &otherwise) {
    return text.isEmpty() ? otherwise : text;
}

} // namespace

CloudConfig CloudConfig::from(const QJsonObject &object) {
    const CloudConfig usual;
    return {.email = object["email"_L1].toString(),
            .trusted = object["trusted"_L1].toBool(),
            .systemPrompt = object["system_prompt"_L1].toString(),
            .wsToken = object["ws_token"_L1].toString(),
            .deepgramKey = object["deepgram_key"_L1].toString(),
            .greeting = textOr(object["greeting"_L1].toString(), usual.greeting),
            .ttsModel = textOr(object["tts_model"_L1].toString(), usual.ttsModel),
            .shareAudio = object["share_audio"_L1].toString() != "off"_L1};
}

} // namespace ombru
