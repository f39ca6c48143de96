// Text as a person counts it. A character here is a user-perceived one: an emoji with its modifiers, a letter with its
// accents. Pure functions, any thread.
#pragma once
#include <QByteArray>
#include <QString>
#include <QStringList>

namespace ombru {

qsizetype characterCount(QStringView text);

// The first `count` characters; the whole text when it is shorter. Looks only at what it returns.
QString firstCharacters(const QString &text, qsizetype count);

// As many of its first characters as `bytes` bytes of UTF-8 hold.
QString firstBytes(const QString &text, qsizetype bytes);

// The text as its single characters, in order.
QStringList characters(QStringView text);

// Up to the first "\n" (a preceding "\r" is dropped with it).
QString firstLine(const QString &text);

// A name or path from somewhere else as one line that can be shown among words of ours, so that another one looks
// different: line breaks, spaces that would be lost, and characters that cannot be seen or that reorder others are
// «U+202E»; there are no towers of accents, and double quotation marks are single ones. Longer than `most` characters
// it loses its middle. "?" for a text of which nothing remains.
QString shownLine(const QString &text, qsizetype most);

// A longer text as it is, but for characters that cannot be seen or that reorder others: they are «U+202E». What
// writing needs stays: joiners behind letters beyond Latin ones and in emoji, and the choice between letter and
// picture.
QString withUnseenShown(const QString &text);

// UTF-8, with every invalid sequence replaced by U+FFFD and a byte order mark kept as it is.
QString repairedUtf8(QByteArrayView bytes);

} // namespace ombru
