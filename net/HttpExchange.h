// One request and its reply. Blocks; any thread but the main one.
#pragma once
#include "base/Failure.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <chrono>
#include <optional>
#include <stop_token>

namespace ombru {

struct HttpRequest {
    QString url;                    // http or https; its path is sent as it is
    QByteArrayList headers = {};    // whole lines, without their ends
    std::optional<QByteArray> body; // a POST with one, a GET without
    QString authority = {};         // a file with certificates that are trusted besides the system's; empty for none
    std::chrono::milliseconds limit = std::chrono::seconds(60); // for all of it
};

struct HttpReply {
    int status = 0;
    QByteArray body;
};

// A reply of any status is one. Redirections are followed, without a token when they lead elsewhere. A stop ends it
// within a second. A Failure has domain "http", the library's code, and its words.
Result<HttpReply> exchange(const HttpRequest &request, const std::stop_token &stop);

} // namespace ombru
