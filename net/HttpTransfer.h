// One request as the library for HTTP wants it, and its reply. For this room; on one thread.
#pragma once
#include "net/HttpExchange.h"

#include <array>
#include <curl/curl.h>
#include <memory>

namespace ombru {

class HttpTransfer {
public:
    HttpTransfer(HttpRequest request, std::stop_token stop);
    HttpTransfer(const HttpTransfer &) = delete; // the library has pointers into it
    HttpTransfer &operator=(const HttpTransfer &) = delete;

    CURL *handle() const { return m_handle.get(); }

    // Of a handle that is done. Once.
    Result<HttpReply> outcome(CURLcode code);

private:
    void setDestination();
    void setTrust();
    void setReception();

    const HttpRequest m_request;
    const std::stop_token m_stop;
    HttpReply m_reply;
    std::array<char, CURL_ERROR_SIZE> m_words{};
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> m_lines;
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> m_handle; // last: it uses the others
};

} // namespace ombru
