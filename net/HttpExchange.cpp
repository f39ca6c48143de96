#include "net/HttpExchange.h"

#include <QFile>

#include <array>
#include <curl/curl.h>
#include <memory>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LARGEST_REPLY = 16 << 20; // bytes; a configuration is a thousandth of it
constexpr long MOST_REDIRECTIONS = 5;
constexpr auto SYSTEM_CERTIFICATES = "/etc/ssl/certs";

using Transfer = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
using Lines = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

Lines linesOf(const QByteArrayList &headers) {
    Lines lines(nullptr, curl_slist_free_all);
    for (const auto &header : headers)
        lines.reset(curl_slist_append(lines.release(), header.constData()));
    return lines;
}

size_t keep(char *bytes, size_t /*always one*/, size_t count, void *body) {
    auto &kept = *static_cast<QByteArray *>(body);
    if (kept.size() + static_cast<qsizetype>(count) > LARGEST_REPLY)
        return 0;
    kept.append(bytes, static_cast<qsizetype>(count));
    return count;
}

int goesOn(void *stop, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return static_cast<const std::stop_token *>(stop)->stop_requested() ? 1 : 0;
}

// Who speaks https where the other speaks http hears things that do not say so.
QString hint(CURLcode code, const QByteArray &words, bool encrypted) {
    if (encrypted && code == CURLE_SSL_CONNECT_ERROR)
        return u"It may be http that is spoken there, not https: "_s;
    if (!encrypted && (code == CURLE_GOT_NOTHING || code == CURLE_RECV_ERROR || words.contains("HTTP/0.9")))
        return u"It may be https that is spoken there, not http: "_s;
    return {};
}

Failure failure(CURLcode code, const char *words, bool encrypted) {
    if (code == CURLE_WRITE_ERROR)
        return {u"http"_s, code, u"The reply is larger than anything the service has to say."_s};
    return {u"http"_s, code,
            hint(code, words, encrypted) + QString::fromUtf8(*words ? words : curl_easy_strerror(code))};
}

void prepareOnce() {
    static const bool once = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    Q_UNUSED(once)
}

} // namespace

Result<HttpReply> exchange(const HttpRequest &request, const std::stop_token &stop) {
    prepareOnce();
    const Transfer transfer(curl_easy_init(), curl_easy_cleanup);
    const auto lines = linesOf(request.headers);
    const auto authority = QFile::encodeName(request.authority);
    std::array<char, CURL_ERROR_SIZE> words{};
    HttpReply reply;
    const auto set = [&transfer](CURLoption option, auto value) { curl_easy_setopt(transfer.get(), option, value); };
    set(CURLOPT_URL, request.url.toUtf8().constData());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_HTTPHEADER, lines.get());
    if (request.body) {
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body->size()));
        set(CURLOPT_POSTFIELDS, request.body->constData());
    }
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, MOST_REDIRECTIONS);
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    if (!authority.isEmpty()) {
        set(CURLOPT_CAINFO, authority.constData());
        set(CURLOPT_CAPATH, SYSTEM_CERTIFICATES);
    }
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(request.limit.count()));
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_ERRORBUFFER, words.data());
    set(CURLOPT_WRITEFUNCTION, &keep);
    set(CURLOPT_WRITEDATA, &reply.body);
    set(CURLOPT_XFERINFOFUNCTION, &goesOn);
    set(CURLOPT_XFERINFODATA, const_cast<std::stop_token *>(&stop));
    set(CURLOPT_NOPROGRESS, 0L);
    if (const auto code = curl_easy_perform(transfer.get()); code != CURLE_OK)
        return std::unexpected(failure(code, words.data(), request.url.startsWith(u"https:"_s)));
    long status = 0;
    curl_easy_getinfo(transfer.get(), CURLINFO_RESPONSE_CODE, &status);
    reply.status = static_cast<int>(status);
    return reply;
}

} // namespace ombru
