// What a reference begins with: literals, words with a meaning of their own, parentheses, lists and records.
#pragma once
#include "applescript/syntax/ParserPart.h"

namespace ombru::applescript {

class OperandParser : private ParserPart {
public:
    using ParserPart::ParserPart;

    ExpressionPtr parseHead();
    ExpressionPtr parseBraces();
    Name parseLabel();

private:
    ExpressionPtr parseContextConstant();
    ExpressionPtr parseWordHead();
    ExpressionPtr parseSpecialWord();
    ExpressionPtr parseConstantWord(bool unclaimed);
    ExpressionPtr parseAlwaysThere();
    ExpressionPtr parseTerm(Dictionary::Match match);
    ExpressionPtr parseParenthesized();
    ExpressionPtr parseRecord(qsizetype start);
    bool atLabel() const;
    ExpressionPtr parseChevron();
};

} // namespace ombru::applescript
