#include "app/resident/RemoteTerminal.h"

#include "app/cli/EventPrinter.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 MOST_UNREAD = 1 << 20; // bytes, and one event
constexpr qint64 FEW_UNREAD = 1 << 16;

} // namespace

bool RemoteTerminal::isFull() const {
    return m_lines.unread() > MOST_UNREAD;
}

void RemoteTerminal::send(const QJsonObject &line) {
    if (!m_over)
        m_lines.send(line);
}

void RemoteTerminal::print(const QString &text, Colour colour) {
    send({{u"line"_s, text}, {u"colour"_s, static_cast<int>(colour)}});
}

void RemoteTerminal::printRaw(const QByteArray &line) {
    send({{u"raw"_s, QString::fromUtf8(line)}});
}

void RemoteTerminal::complain(const QString &text) {
    send({{u"error"_s, text}});
}

void RemoteTerminal::showLive(const QString &text) {
    if (!isFull())
        send({{u"live"_s, text}});
}

void RemoteTerminal::showProgress(const QString &line) {
    if (!isFull())
        send({{u"progress"_s, line}});
}

void RemoteTerminal::tell(const Event &event) {
    if (hasRoom())
        send(toJson(event));
}

void RemoteTerminal::tellRaw(const QByteArray &line) {
    if (hasRoom())
        printRaw(line);
}

bool RemoteTerminal::hasRoom() {
    if (m_dropped == 0 && !isFull())
        return true;
    ++m_dropped;
    return false;
}

void RemoteTerminal::makeRoom() {
    if (m_lines.unread() <= FEW_UNREAD)
        tellDropped();
}

void RemoteTerminal::tellDropped() {
    if (const auto dropped = std::exchange(m_dropped, 0); dropped > 0)
        send({{u"dropped"_s, dropped}});
}

void RemoteTerminal::exit(int status) {
    tellDropped();
    send({{u"exit"_s, status}});
    m_over = true;
}

} // namespace ombru
