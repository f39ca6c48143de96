#include "applescript/run/DateProperties.h"

#include "applescript/values/Format.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

Value month(const QDateTime &time) {
    static const QStringList names = {u"January"_s,   u"February"_s, u"March"_s,    u"April"_s,
                                      u"May"_s,       u"June"_s,     u"July"_s,     u"August"_s,
                                      u"September"_s, u"October"_s,  u"November"_s, u"December"_s};
    return Constant{names[time.date().month() - 1]};
}

Value weekday(const QDateTime &time) {
    static const QStringList names = {u"Monday"_s, u"Tuesday"_s,  u"Wednesday"_s, u"Thursday"_s,
                                      u"Friday"_s, u"Saturday"_s, u"Sunday"_s};
    return Constant{names[time.date().dayOfWeek() - 1]};
}

Value shortDay(const QDateTime &time) {
    const QDate day = time.date();
    return u"%1/%2/%3"_s.arg(day.month()).arg(day.day()).arg(day.year() % 100, 2, 10, QChar(u'0'));
}

int secondsOfDay(QTime time) {
    return time.hour() * 3600 + time.minute() * 60 + time.second();
}

QDateTime atTime(const QDateTime &time, qint64 hours, qint64 minutes, qint64 seconds) {
    return QDateTime(time.date(), QTime(0, 0)).addSecs(hours * 3600 + minutes * 60 + seconds);
}

// A day that the month does not have rolls over into the next one.
QDateTime onDay(const QDateTime &time, qint64 year, qint64 month, qint64 day) {
    const QDate first = QDate(int(year), 1, 1).addMonths(int(month - 1));
    return QDateTime(first.addDays(day - 1), time.time());
}

constexpr DateRow ROWS[] = {
    {u"year", [](const QDateTime &time) { return Value(time.date().year()); },
     [](const QDateTime &time, qint64 year) { return onDay(time, year, time.date().month(), time.date().day()); }},
    {u"month", &month,
     [](const QDateTime &time, qint64 number) { return onDay(time, time.date().year(), number, time.date().day()); }},
    {u"day", [](const QDateTime &time) { return Value(time.date().day()); },
     [](const QDateTime &time, qint64 day) { return onDay(time, time.date().year(), time.date().month(), day); }},
    {u"weekday", &weekday},
    {u"hours", [](const QDateTime &time) { return Value(time.time().hour()); },
     [](const QDateTime &time, qint64 hours) {
         return atTime(time, hours, time.time().minute(), time.time().second());
     }},
    {u"minutes", [](const QDateTime &time) { return Value(time.time().minute()); },
     [](const QDateTime &time, qint64 minutes) {
         return atTime(time, time.time().hour(), minutes, time.time().second());
     }},
    {u"seconds", [](const QDateTime &time) { return Value(time.time().second()); },
     [](const QDateTime &time, qint64 seconds) {
         return atTime(time, time.time().hour(), time.time().minute(), seconds);
     }},
    {u"time", [](const QDateTime &time) { return Value(secondsOfDay(time.time())); },
     [](const QDateTime &time, qint64 seconds) { return atTime(time, 0, 0, seconds); }},
    {u"date string", [](const QDateTime &time) { return Value(formatDay(time)); }},
    {u"short date string", &shortDay},
    {u"time string", [](const QDateTime &time) { return Value(formatTime(time)); }},
};

} // namespace

const DateRow *dateProperty(QStringView name) {
    const auto *row = std::ranges::find(ROWS, name, &DateRow::name);
    return row == std::end(ROWS) ? nullptr : row;
}

} // namespace ombru::applescript
