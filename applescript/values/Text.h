// Text as scripts see it: comparison with considerations, and its elements (characters, words, paragraphs, text items).
//
// Pure, any thread.
#pragma once
#include <QStringList>

#include <vector>

namespace ombru::applescript {

// What `considering` and `ignoring` name.
enum class Attribute {
    textCase = 1,
    diacriticals = 2,
    hyphens = 4,
    punctuation = 8,
    whiteSpace = 16,
    numericStrings = 32,
    expansion = 64,
    applicationResponses = 128
};
using Attributes = int; // Attribute values or-ed together

// What text operations depend on while a script runs.
struct TextRules {
    Attributes considered = int(Attribute::diacriticals) | int(Attribute::hyphens) | int(Attribute::punctuation) |
                            int(Attribute::whiteSpace) | int(Attribute::expansion);
    QStringList delimiters = {QString()};

    bool considers(Attribute attribute) const { return (considered & int(attribute)) != 0; }
    Qt::CaseSensitivity caseSensitivity() const {
        return considers(Attribute::textCase) ? Qt::CaseSensitive : Qt::CaseInsensitive;
    }
};

// Below, at or above 0, like strcmp.
int compareText(const QString &left, const QString &right, const TextRules &rules);

// The text with everything that is not considered taken out, for searching in.
QString comparable(const QString &text, const TextRules &rules);

// Where an element starts and how long it is.
struct Span {
    qsizetype start = 0;
    qsizetype length = 0;
};

// `kind` is character, item, word, paragraph or text item.
std::vector<Span> textElements(const QString &text, const QString &kind, const TextRules &rules);

} // namespace ombru::applescript
