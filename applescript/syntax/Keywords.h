// Words of the language itself that no dictionary changes.
//
// Pure, any thread.
#pragma once
#include <QString>

#include <optional>

namespace ombru::applescript {

// Keywords: never a variable's name unless in bars.
bool isKeyword(const QString &word);

// Whether a word can lead a labeled parameter: about, above, from, into ...
bool isPreposition(const QString &word);

// first is 1, tenth is 10, last is -1.
std::optional<int> ordinalNumber(const QString &word);

} // namespace ombru::applescript
