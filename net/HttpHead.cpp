#include "net/HttpHead.h"

#include "base/Text.h"

#include <QUrl>
#include <QUrlQuery>

#include <algorithm>
#include <ranges>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr QByteArrayView END = "\r\n\r\n";

void readTarget(QStringView requestLine, HttpHead &head) {
    const auto pieces = requestLine.split(u' ', Qt::SkipEmptyParts);
    const QUrl target(pieces.value(1).toString());
    if (!target.isValid())
        return;
    head.path = target.path(QUrl::FullyDecoded);
    for (const auto &[name, value] : QUrlQuery(target).queryItems(QUrl::FullyDecoded))
        head.query.emplace_back(name, value);
}

} // namespace

std::optional<QString> HttpHead::header(const QString &name) const {
    const auto found = std::ranges::find(headers.rbegin(), headers.rend(), name, &std::pair<QString, QString>::first);
    return found == headers.rend() ? std::nullopt : std::optional(found->second);
}

std::optional<QString> HttpHead::queryItem(const QString &name) const {
    const auto found = std::ranges::find(query, name, &std::pair<QString, QString>::first);
    return found == query.end() ? std::nullopt : std::optional(found->second);
}

HttpHead parseHead(QByteArrayView bytes) {
    HttpHead head;
    const auto text = repairedUtf8(bytes);
    const auto lines = QStringView(text).split(u"\r\n"_s);
    readTarget(lines.first(), head);
    for (const auto line : lines | std::views::drop(1)) {
        const auto colon = line.indexOf(u':');
        if (colon >= 0)
            head.headers.emplace_back(line.first(colon).toString().toLower(),
                                      line.sliced(colon + 1).trimmed().toString());
    }
    return head;
}

HeadReader::State HeadReader::append(QByteArrayView bytes) {
    // The end may have begun with what was there before.
    const auto from = std::max<qsizetype>(0, m_bytes.size() - (END.size() - 1));
    m_bytes.append(bytes);
    m_end = m_bytes.indexOf(END, from);
    if (m_end >= 0)
        return State::whole;
    return m_bytes.size() > LONGEST_OPEN_HEAD ? State::tooLong : State::open;
}

QByteArrayView HeadReader::head() const {
    return QByteArrayView(m_bytes).first(m_end);
}

QByteArrayView HeadReader::rest() const {
    return QByteArrayView(m_bytes).sliced(m_end + END.size());
}

} // namespace ombru
