#include "http/HttpTransfer.h"

namespace ombru::http {

namespace {

constexpr std::size_t HEADERS = 2; // the first of them among the lines
constexpr long MOST_REDIRECTIONS = 5;
constexpr auto SYSTEM_CERTIFICATES = "/etc/ssl/certs";

curl_slist *headersOf(const Packet &request) {
    curl_slist *headers = nullptr;
    for (auto line = HEADERS; line < request.lines.size(); ++line)
        headers = curl_slist_append(headers, request.lines[line].c_str());
    return headers;
}

size_t keep(char *bytes, size_t /*always one*/, size_t count, void *body) {
    auto &kept = *static_cast<std::string *>(body);
    if (kept.size() + count > LARGEST_REPLY)
        return 0;
    kept.append(bytes, count);
    return count;
}

// Who speaks https where the other speaks http hears things that do not say so.
std::string hint(CURLcode code, std::string_view words, bool encrypted) {
    if (encrypted && code == CURLE_SSL_CONNECT_ERROR)
        return "It may be http that is spoken there, not https: ";
    if (!encrypted && (code == CURLE_GOT_NOTHING || code == CURLE_RECV_ERROR || words.contains("HTTP/0.9")))
        return "It may be https that is spoken there, not http: ";
    return {};
}

} // namespace

HttpTransfer::HttpTransfer(Packet begun)
    : m_request(std::move(begun)), m_headers(headersOf(m_request), curl_slist_free_all),
      m_handle(curl_easy_init(), curl_easy_cleanup) {
    setDestination();
    setTrust();
    setReception();
}

void HttpTransfer::setDestination() {
    const auto set = [this](CURLoption option, auto value) { curl_easy_setopt(handle(), option, value); };
    set(CURLOPT_URL, url().c_str());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_HTTPHEADER, m_headers.get());
    if (m_request.body) {
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(m_request.body->size()));
        set(CURLOPT_POSTFIELDS, m_request.body->data());
    }
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, MOST_REDIRECTIONS);
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
}

// The system's are looked up one by one in their directory, as for a channel. The file that has all of them, which the
// library takes by itself, would be read for each connection: ten times the work, and a megabyte that stays.
void HttpTransfer::setTrust() {
    const auto &authority = m_request.lines[1];
    curl_easy_setopt(handle(), CURLOPT_CAPATH, SYSTEM_CERTIFICATES);
    curl_easy_setopt(handle(), CURLOPT_CAINFO, authority.empty() ? nullptr : authority.c_str());
}

void HttpTransfer::setReception() {
    const auto set = [this](CURLoption option, auto value) { curl_easy_setopt(handle(), option, value); };
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(m_request.number));
    set(CURLOPT_QUICK_EXIT, 1L); // one that is given up does not wait for the name server
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_ERRORBUFFER, m_words.data());
    set(CURLOPT_WRITEFUNCTION, &keep);
    set(CURLOPT_WRITEDATA, &m_body);
}

Packet HttpTransfer::failure(CURLcode code) const {
    const std::string words = *m_words.data() ? m_words.data() : curl_easy_strerror(code);
    const auto said = code == CURLE_WRITE_ERROR ? "The reply is larger than anything the service has to say."
                                                : hint(code, words, url().starts_with("https:")) + words;
    return {.what = What::failure, .request = m_request.request, .number = code, .lines = {said}};
}

Packet HttpTransfer::outcome(CURLcode code) {
    if (code != CURLE_OK)
        return failure(code);
    long status = 0;
    curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &status);
    return {.what = What::reply, .request = m_request.request, .number = status, .body = std::move(m_body)};
}

} // namespace ombru::http
