// The text of a script and places in it. Inside the language a place is an index of UTF-16 code units, which is what
// QString counts; a person is shown characters, and this is where one becomes the other.
//
// Pure values, any thread.
#pragma once
#include <QByteArray>
#include <QString>

namespace ombru::applescript {

// A part of the script, [start, end), in code units.
struct Range {
    qsizetype start = 0;
    qsizetype end = 0;

    bool operator==(const Range &) const = default;
};

// From the start of one to the end of the other.
Range spanning(Range first, Range last);

// The same place counted in Unicode characters, as it is shown to a person.
Range inCharacters(QStringView text, Range range);

// The text of a script file: UTF-8 or UTF-16 by its byte order mark, else UTF-8 when it is valid, else Mac Roman.
QString decodeScript(const QByteArray &bytes);

} // namespace ombru::applescript
