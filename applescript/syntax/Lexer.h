// A script as a list of tokens. Comments, continuations and blank space are gone; ends of lines are tokens, because
// they end statements. Words are not told apart here: what a word means depends on the dictionaries in scope, which
// the parser knows.
//
// Pure, any thread. Linear in the size of the script.
#pragma once
#include "applescript/values/Errors.h"

#include <QString>

#include <vector>

namespace ombru::applescript {

struct Token {
    enum class Kind {
        word,    // key: lower case, contractions with a straight apostrophe ("isn't")
        name,    // |any text|: always an identifier; key without the bars
        text,    // key: the value of the literal
        integer, // number
        real,    // number
        ordinal, // 1st, 2nd ...: number
        symbol,  // key: one of ( ) { } , : & * / + - ^ = ≠ < > ≤ ≥ 's ; ASCII forms are replaced by these
        chevron, // «...»: key is what is between
        endOfLine,
        endOfScript,
        unknown
    };
    Kind kind = Kind::endOfScript;
    Range range;
    QString key;
    double number = 0;

    bool isWord(QStringView word) const { return kind == Kind::word && key == word; }
    bool isSymbol(QStringView symbol) const { return kind == Kind::symbol && key == symbol; }
};

// The last token is always endOfScript. Throws SyntaxError for text, comments and names that never end.
std::vector<Token> tokenize(const QString &script);

} // namespace ombru::applescript
