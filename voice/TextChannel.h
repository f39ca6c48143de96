// Requests by text over the call server's plain path: JSON objects {"id", "text", "from"} come in, {"id", "progress"}
// and {"id", "reply"} go back. The id is the peer's own, and may be any value.
#pragma once
#include <QString>

#include <functional>
#include <memory>

namespace ombru {

class Inbox;
class WSConnection;

struct TextRequest {
    QString text;
    QString from;
    std::function<void(const QString &)> progress; // any thread; nothing once the connection is gone
    std::function<void(const QString &)> reply;
    std::shared_ptr<void> waiting; // kept until the request has been dealt with; see Inbox
};

// Asks for each request on the connection's queue, or, for what came earlier, at once; any thread. What is no object is
// ignored, and one without a text is answered so.
void serveTexts(const std::shared_ptr<WSConnection> &ws, Inbox &inbox, std::function<void(TextRequest)> ask);

} // namespace ombru
