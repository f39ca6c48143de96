#include "net/HttpTransfer.h"

namespace ombru {

Result<HttpReply> exchange(const HttpRequest &request, const std::stop_token &stop) {
    HttpTransfer transfer(request, stop);
    return transfer.outcome(curl_easy_perform(transfer.handle()));
}

} // namespace ombru
