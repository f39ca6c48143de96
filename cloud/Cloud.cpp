#include "cloud/Cloud.h"

#include "base/Background.h"
#include "net/HttpClient.h"
#include "platform/HostInfo.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSysInfo>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr Clock::Duration LIMIT = std::chrono::seconds(60);

Failure failure(const QString &description, int code = 1) {
    return {u"cloud"_s, code, description};
}

Task<Result<HttpReply>> exchangeElsewhere(HttpRequest request, std::stop_token stop) {
    std::stop_source given; // the thread's: it is told when nobody waits any more
    auto reply = co_await backgroundWithin(
        LIMIT, stop, [request = std::move(request), token = given.get_token()] { return exchange(request, token); });
    given.request_stop();
    if (stop.stop_requested()) // whatever came in the meantime
        co_return std::unexpected(failure(u"The request was given up."_s));
    if (!reply)
        co_return std::unexpected(failure(u"The request timed out."_s));
    if (!*reply)
        co_return std::unexpected(failure(reply->error().description, reply->error().code));
    co_return *reply;
}

// Qt reads objects and lists only, while a text or a number is JSON, too: as the one element of a list it is read.
Result<QJsonValue> parse(const QByteArray &body) {
    QJsonParseError error;
    const auto whole = QJsonDocument::fromJson(body, &error);
    if (error.error == QJsonParseError::NoError)
        return whole.isObject() ? QJsonValue(whole.object()) : QJsonValue(whole.array());
    const auto list = QJsonDocument::fromJson('[' + body + ']').array();
    if (list.size() == 1)
        return list.first();
    return std::unexpected(failure(error.errorString(), 2));
}

} // namespace

QByteArray Cloud::userAgent() {
    return u"ombru/%1 (%2; %3)"_s.arg(QStringLiteral(OMBRU_VERSION), systemName(), QSysInfo::currentCpuArchitecture())
        .toUtf8();
}

Task<Result<QJsonObject>> Cloud::post(QString base, QString path, QJsonObject body, std::stop_token stop) const {
    const auto reply =
        co_await exchangeElsewhere({.url = base + path,
                                    .headers = {"User-Agent: " + m_options.userAgent, "Content-Type: application/json"},
                                    .body = QJsonDocument(body).toJson(QJsonDocument::Compact),
                                    .authority = m_options.authority},
                                   std::move(stop));
    if (!reply)
        co_return std::unexpected(reply.error());
    const auto document = parse(reply->body);
    if (!document)
        co_return std::unexpected(document.error());
    co_return document->toObject();
}

Task<Result<std::optional<CloudConfig>>> Cloud::config(QString base, QString token, std::stop_token stop) const {
    const auto reply = co_await exchangeElsewhere(
        {.url = base + u"/api/device/config"_s,
         .headers = {"User-Agent: " + m_options.userAgent, "Authorization: Bearer " + token.toUtf8()},
         .body = {},
         .authority = m_options.authority},
        std::move(stop));
    if (!reply)
        co_return std::unexpected(reply.error());
    if (reply->status == 401)
        co_return std::nullopt;
    const auto document = parse(reply->body);
    if (!document)
        co_return std::unexpected(document.error());
    if (!document->isObject())
        co_return std::unexpected(failure(u"bad response from "_s + base));
    co_return CloudConfig::from(document->toObject());
}

} // namespace ombru
