// What a WebSocket to another computer has in common with a page's request to the same host: its proxy and whom it
// trusts. On the socket's thread, before it opens.
#pragma once
#include <QString>
#include <QUrl>

class QWebSocket;

namespace ombru {

// `authority`: a file with certificates that are trusted besides the system's; empty for none. A message goes out as
// one frame, and what comes in may have so many bytes.
void setUp(QWebSocket &socket, const QUrl &url, const QString &authority, quint64 largestMessage);

// What was sent and has not left yet, also of what is encrypted already, which the socket itself does not count.
qint64 unsentBytes(const QWebSocket &socket);

} // namespace ombru
