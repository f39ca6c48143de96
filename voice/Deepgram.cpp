#include "voice/Deepgram.h"

#include "net/HttpClient.h"
#include "voice/Wav.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView LISTENING =
    u"/v1/listen?model=nova-3&encoding=mulaw&sample_rate=8000&channels=1&interim_results=true&endpointing=300"
    u"&utterance_end_ms=1000&smart_format=true";

constexpr int OK = 200;

constexpr std::chrono::minutes KEPT(2); // a connection, for the next sentence: as long as the library keeps one

} // namespace

std::optional<QByteArray> authorization(const QString &key) {
    if (std::ranges::any_of(key, [](QChar character) { return character < u' ' || character == QChar(0x7f); }))
        return std::nullopt;
    return "Token " + key.toUtf8();
}

// What follows "http" stays: an "s", or none.
QUrl Deepgram::sttURL() const {
    return QUrl(u"ws"_s + base.sliced(4) + LISTENING.toString(), QUrl::StrictMode);
}

void Deepgram::tts(const QString &text, const QString &key, const QString &model, Spoken spoken,
                   std::stop_token stop) const {
    const auto allowed = authorization(key);
    if (!allowed)
        return spoken(std::nullopt);
    HttpRequest request{.url = base + u"/v1/speak?model="_s + model +
                               u"&encoding=linear16&sample_rate=8000&container=wav"_s,
                        .headers = {"Authorization: " + *allowed, "Content-Type: application/json"},
                        .body = QJsonDocument(QJsonObject{{u"text"_s, text}}).toJson(QJsonDocument::Compact),
                        .authority = authority,
                        .limit = limit,
                        .kept = KEPT};
    exchangeLater(std::move(request), std::move(stop),
                  [spoken = std::move(spoken)](const Result<HttpReply> &reply) mutable {
                      const bool good = reply && reply->status == OK;
                      spoken(good ? std::optional(wavToPCM8k(reply->body)) : std::nullopt);
                  });
}

} // namespace ombru
