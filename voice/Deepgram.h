// What is asked of the speech service, at an origin of the owner's choice: where it listens to a call, and to speak a
// sentence. A value; any thread.
#pragma once
#include "voice/Samples.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <optional>
#include <stop_token>

namespace ombru {

// What a request has as its header "Authorization"; none for a key with characters that no header may have.
std::optional<QByteArray> authorization(const QString &key);

struct Deepgram {
    QString base;                                               // http or https, without a path: the setting speechURL
    QString authority = {};                                     // a file with further certificates; empty for none
    std::chrono::milliseconds limit = std::chrono::seconds(60); // of one request

    // Where recognition is opened (Recognition.h): ws where the base is http, wss where it is https.
    QUrl sttURL() const;

    // Told exactly once; nothing after any failure, a stop, and at the end of the application. It comes on the thread
    // that all requests share (net/HttpClient.h), also while tts() has not yet come back: it must not block, and hops
    // to where its owner lives. A stop counts at once.
    using Spoken = std::move_only_function<void(std::optional<Samples>)>;
    void tts(const QString &text, const QString &key, const QString &model, Spoken spoken,
             std::stop_token stop = {}) const;
};

} // namespace ombru
