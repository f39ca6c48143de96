#include "service/log/Log.h"

#include "base/Text.h"

#include <QDateTime>

#include <algorithm>
#include <cstdio>
#include <mutex>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LONGEST_VALUE = 200; // characters

// What came from elsewhere cannot begin a line or a field.
QString value(const QString &text) {
    const bool plain = !text.isEmpty() && std::ranges::all_of(text, [](QChar character) {
        return character > u' ' && character < u'\x7F' && character != u'"' && character != u'=';
    });
    return plain && text.size() <= LONGEST_VALUE ? text : u'"' + shownLine(text, LONGEST_VALUE) + u'"';
}

void write(const QString &text) {
    const auto time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    const auto line = (u"time="_s + time + u' ' + text + u'\n').toUtf8();
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stderr);
}

} // namespace

QString logLine(QStringView event, std::initializer_list<LogField> fields) {
    QString line = u"event="_s + event.toString();
    for (const auto &[key, text] : fields)
        line += u' ' + key.toString() + u'=' + value(text);
    return line;
}

std::optional<qint64> LogLimit::take(const QString &event, const QString &address) {
    const bool fits = address.isEmpty() || m_ofAddress.allows(event + u' ' + networkOf(address));
    if (fits && m_ofEvent.allows(event))
        return std::exchange(m_leftOut[event], 0);
    ++m_leftOut[event];
    return std::nullopt;
}

void logEvent(QStringView event, std::initializer_list<LogField> fields) {
    static std::mutex mutex; // guards the next one
    static LogLimit limit;
    const auto *address = std::ranges::find(fields, u"address", &LogField::first);
    const auto leftOut = [&] {
        const std::lock_guard lock(mutex);
        return limit.take(event.toString(), address == fields.end() ? QString() : address->second);
    }();
    if (!leftOut)
        return;
    if (*leftOut > 0)
        write(logLine(u"left-out", {{u"of", event.toString()}, {u"lines", QString::number(*leftOut)}}));
    write(logLine(event, fields));
}

} // namespace ombru
