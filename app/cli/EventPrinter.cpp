#include "app/cli/EventPrinter.h"

#include "base/Text.h"
#include "platform/SystemLog.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype MOST_LINES = 40;
constexpr qsizetype FIRST_LINES = 20;
constexpr qsizetype LAST_LINES = 10;
constexpr qsizetype LONGEST_LINE = 2000; // characters

QString shortLine(const QString &line) {
    if (line.size() <= LONGEST_LINE)
        return line;
    const auto kept = firstCharacters(line, LONGEST_LINE);
    return u"%1… %2 more characters are in the log: %3"_s.arg(kept).arg(line.size() - kept.size()).arg(logCommand());
}

QStringList shortened(const QStringList &lines) {
    QStringList shown = lines;
    if (lines.size() > MOST_LINES) {
        const auto left = lines.size() - FIRST_LINES - LAST_LINES;
        shown = lines.first(FIRST_LINES);
        shown.append(u"… %1 more lines are in the log: %2"_s.arg(left).arg(logCommand()));
        shown += lines.last(LAST_LINES);
    }
    for (auto &line : shown)
        line = shortLine(line);
    return shown;
}

} // namespace

QString terminalText(const Event &event) {
    const bool isOutput = event.kind == EventKind::result || event.kind == EventKind::bad;
    auto text = event.text;
    const auto lines = text.replace(u"\r\n"_s, u"\n"_s).replace(u'\r', u'\n').split(u'\n');
    return (isOutput ? shortened(lines) : lines).join(u"\n  "_s);
}

Colour colourOf(EventKind kind) {
    switch (kind) {
    case EventKind::user:
        return Colour::bold;
    case EventKind::call:
    case EventKind::heard:
    case EventKind::said:
        return Colour::magenta;
    case EventKind::rule:
    case EventKind::dim:
        return Colour::dim;
    case EventKind::claude:
        return Colour::cyan;
    case EventKind::code:
        return Colour::blue;
    case EventKind::result:
        return Colour::plain;
    case EventKind::good:
        return Colour::green;
    case EventKind::bad:
        return Colour::red;
    case EventKind::warn:
        return Colour::yellow;
    }
    Q_UNREACHABLE();
}

QJsonObject toJson(const Event &event) {
    return {{u"kind"_s, kindName(event.kind)}, {u"text"_s, event.text}, {u"ts"_s, event.time}};
}

QByteArray jsonLine(const Event &event) {
    return QJsonDocument(toJson(event)).toJson(QJsonDocument::Compact);
}

} // namespace ombru
