#include "net/HttpTransfer.h"

#include <QFile>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LARGEST_REPLY = 16 << 20; // bytes; 17 minutes of speech, a thousand configurations
constexpr long MOST_REDIRECTIONS = 5;
constexpr auto SYSTEM_CERTIFICATES = "/etc/ssl/certs";

curl_slist *linesOf(const QByteArrayList &headers) {
    curl_slist *lines = nullptr;
    for (const auto &header : headers)
        lines = curl_slist_append(lines, header.constData());
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

// The library is prepared once, by whoever makes the first.
CURL *newHandle() {
    static const bool once = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
    Q_UNUSED(once)
    return curl_easy_init();
}

} // namespace

HttpTransfer::HttpTransfer(HttpRequest request, std::stop_token stop)
    : m_request(std::move(request)), m_stop(std::move(stop)), m_lines(linesOf(m_request.headers), curl_slist_free_all),
      m_handle(newHandle(), curl_easy_cleanup) {
    setDestination();
    setTrust();
    setReception();
}

void HttpTransfer::setDestination() {
    const auto set = [this](CURLoption option, auto value) { curl_easy_setopt(handle(), option, value); };
    set(CURLOPT_URL, m_request.url.toUtf8().constData());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_HTTPHEADER, m_lines.get());
    if (m_request.body) {
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_request.body->size()));
        set(CURLOPT_POSTFIELDS, m_request.body->constData());
    }
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, MOST_REDIRECTIONS);
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
}

// The system's are looked up one by one in their directory, as for a channel. The file that has all of them, which the
// library takes by itself, would be read for each connection: ten times the work, and a megabyte that stays.
void HttpTransfer::setTrust() {
    const auto authority = QFile::encodeName(m_request.authority);
    curl_easy_setopt(handle(), CURLOPT_CAPATH, SYSTEM_CERTIFICATES);
    curl_easy_setopt(handle(), CURLOPT_CAINFO, authority.isEmpty() ? nullptr : authority.constData());
}

void HttpTransfer::setReception() {
    const auto set = [this](CURLoption option, auto value) { curl_easy_setopt(handle(), option, value); };
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(m_request.limit.count()));
    set(CURLOPT_QUICK_EXIT, 1L); // one that is given up does not wait for the name server
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_ERRORBUFFER, m_words.data());
    set(CURLOPT_WRITEFUNCTION, &keep);
    set(CURLOPT_WRITEDATA, &m_reply.body);
    set(CURLOPT_XFERINFOFUNCTION, &goesOn);
    set(CURLOPT_XFERINFODATA, const_cast<std::stop_token *>(&m_stop));
    set(CURLOPT_NOPROGRESS, 0L);
}

Result<HttpReply> HttpTransfer::outcome(CURLcode code) {
    if (code != CURLE_OK)
        return std::unexpected(failure(code, m_words.data(), m_request.url.startsWith(u"https:"_s)));
    long status = 0;
    curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
    m_reply.status = static_cast<int>(status);
    return std::move(m_reply);
}

} // namespace ombru
