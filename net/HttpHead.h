// The head of an HTTP request: what is needed of it to answer a request to become a WebSocket. Bytes in, values out;
// the method and the version are not looked at. A reader belongs to one thread; parseHead is for any.
#pragma once
#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>
#include <utility>
#include <vector>

namespace ombru {

constexpr qsizetype LONGEST_OPEN_HEAD = 16'384; // bytes of a head whose end has not arrived

struct HttpHead {
    QString path = QStringLiteral("/"); // of the request target, decoded; as it is here when there is none to read
    std::vector<std::pair<QString, QString>> query =
        {};                                          // its items in their order, decoded; "" for one without a value
    QList<std::pair<QString, QString>> headers = {}; // in their order, names in lower case

    std::optional<QString> header(const QString &name) const;    // the last of that name, in lower case
    std::optional<QString> queryItem(const QString &name) const; // the first of that name
};

// `head` is what precedes the empty line. What cannot be read is left out; bytes that are not UTF-8 are replaced.
HttpHead parseHead(QByteArrayView head);

// What a server answers in Sec-WebSocket-Accept to a client's Sec-WebSocket-Key.
QByteArray webSocketAcceptance(const QByteArray &key);

// Takes what arrives, in pieces of any size, until the empty line that ends a head.
class HeadReader {
public:
    enum class State { open, whole, tooLong };

    // Once it is whole or too long, nothing more is taken. A head may be longer than LONGEST_OPEN_HEAD when its end
    // comes with the same bytes that carry it past that.
    State append(QByteArrayView bytes);

    QByteArrayView head() const; // whole, without the empty line
    QByteArrayView rest() const; // what arrived behind it

private:
    QByteArray m_bytes;
    qsizetype m_end = -1; // of the head
};

} // namespace ombru
