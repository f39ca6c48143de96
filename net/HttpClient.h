// Requests that wait for their replies side by side, any number of them, so that nobody's reply waits for somebody
// else's. They are made by a program of its own, ombru-http, which is there only while somebody waits for a reply or
// wants connections kept: the library for HTTP, and what comes with it, is in no other.
#pragma once
#include "base/Failure.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <chrono>
#include <functional>
#include <optional>
#include <stop_token>

namespace ombru {

struct HttpRequest {
    QString url;                    // http or https; its path is sent as it is
    QByteArrayList headers = {};    // whole lines, without their ends
    std::optional<QByteArray> body; // a POST with one, a GET without
    QString authority = {};         // a file with certificates that are trusted besides the system's; empty for none
    std::chrono::milliseconds limit = std::chrono::seconds(60); // for all of it
    std::chrono::milliseconds kept{0};                          // for so long its connection waits for the next request
};

struct HttpReply {
    int status = 0;
    QByteArray body;
};

// A reply of any status is one. Redirections are followed, without a token when they lead elsewhere. A stop counts at
// once. A Failure has domain "http", the library's code, and its words; code 0, when no request could be made at all.
//
// Told exactly once, also at the end of the application, on a thread that all share: it must not block, and posts to
// where its owner lives. It may come before this returns. Any thread; the main loop is there before the first request.
using HttpTold = std::move_only_function<void(Result<HttpReply>)>;
void exchangeLater(HttpRequest request, std::stop_token stop, HttpTold told);

// The same for one that waits. Blocks; any thread but the main one.
Result<HttpReply> exchange(HttpRequest request, std::stop_token stop);

// The program that makes the requests from the next one on that finds none running; its full path. Empty, as at first:
// that of ours, beside the application. Any thread.
void setHttpProgram(const QString &program);

} // namespace ombru
