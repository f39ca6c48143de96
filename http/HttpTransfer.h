// One request as the library for HTTP wants it, and its reply. One thread.
#pragma once
#include "net/HttpWire.h"

#include <array>
#include <curl/curl.h>
#include <memory>

namespace ombru::http {

class HttpTransfer {
public:
    explicit HttpTransfer(Packet begun);         // with its two first lines
    HttpTransfer(const HttpTransfer &) = delete; // the library has pointers into it
    HttpTransfer &operator=(const HttpTransfer &) = delete;

    CURL *handle() const { return m_handle.get(); }

    // What is told of a handle that is done. Once.
    Packet outcome(CURLcode code);

private:
    const std::string &url() const { return m_request.lines[0]; }
    void setDestination();
    void setTrust();
    void setReception();
    Packet failure(CURLcode code) const;

    const Packet m_request;
    std::string m_body;
    std::array<char, CURL_ERROR_SIZE> m_words{};
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> m_headers;
    std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> m_handle; // last: it uses the others
};

} // namespace ombru::http
