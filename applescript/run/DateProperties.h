// The properties of a date: a row each.
//
// Pure, any thread.
#pragma once
#include "applescript/values/Value.h"

namespace ombru::applescript {

struct DateRow {
    QStringView name; // lower case
    Value (*read)(const QDateTime &time);
    QDateTime (*write)(const QDateTime &time, qint64 number) = nullptr;
};

const DateRow *dateProperty(QStringView name); // nothing when a date has none of this name

} // namespace ombru::applescript
