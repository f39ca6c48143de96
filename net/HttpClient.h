// Requests that wait for their replies side by side, any number of them, on one thread for all of the program, so that
// nobody's reply waits for somebody else's. Connections are kept for the next request for a while.
#pragma once
#include "net/HttpExchange.h"

#include <functional>

namespace ombru {

// As exchange() tells it, but a stop counts at once. Told exactly once, also at the end of the application, on the
// thread that all share: it must not block, and posts to where its owner lives. It may come before this returns. Any
// thread; the first request comes after the first queue.
using HttpTold = std::move_only_function<void(Result<HttpReply>)>;
void exchangeLater(HttpRequest request, std::stop_token stop, HttpTold told);

} // namespace ombru
