// What the service tells whoever runs it: a line an event on standard error, as "key=value". Tokens, codes, passwords
// and what computers say never get here. Any thread.
#pragma once
#include <QString>

#include <initializer_list>
#include <utility>

namespace ombru {

using LogField = std::pair<QStringView, QString>;

void logEvent(QStringView event, std::initializer_list<LogField> fields = {});

// The line, without its time.
QString logLine(QStringView event, std::initializer_list<LogField> fields);

} // namespace ombru
