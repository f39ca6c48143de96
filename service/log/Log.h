// What the service tells whoever runs it: a line an event on standard error, as "key=value". Tokens, codes, passwords
// and what computers say never get here. Who makes many lines does not fill the disk by them: some are left out then,
// and counted. Any thread.
#pragma once
#include "service/rates/Rates.h"

#include <initializer_list>
#include <optional>
#include <utility>

namespace ombru {

using LogField = std::pair<QStringView, QString>;

void logEvent(QStringView event, std::initializer_list<LogField> fields = {});

// The line, without its time.
QString logLine(QStringView event, std::initializer_list<LogField> fields);

// Which lines are written: so many of an event, and of those not too many because of one address. One thread at a time.
class LogLimit {
public:
    // None when it is left out; otherwise how many of that event were since the last one that was written.
    std::optional<qint64> take(const QString &event, const QString &address);

private:
    Rate m_ofEvent{{.atOnce = 300, .aMinute = 300}};
    Rate m_ofAddress{{.atOnce = 60, .aMinute = 60}};
    std::unordered_map<QString, qint64> m_leftOut;
};

} // namespace ombru
