#include "service/log/Log.h"

#include "base/Text.h"

#include <QDateTime>

#include <algorithm>
#include <cstdio>

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

} // namespace

QString logLine(QStringView event, std::initializer_list<LogField> fields) {
    QString line = u"event="_s + event.toString();
    for (const auto &[key, text] : fields)
        line += u' ' + key.toString() + u'=' + value(text);
    return line;
}

void logEvent(QStringView event, std::initializer_list<LogField> fields) {
    const auto time = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    const auto line = (u"time="_s + time + u' ' + logLine(event, fields) + u'\n').toUtf8();
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stderr);
}

} // namespace ombru
