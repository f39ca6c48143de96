// Statements that contain others.
#pragma once
#include "applescript/syntax/ParserPart.h"

namespace ombru::applescript {

class BlockParser : private ParserPart {
public:
    using ParserPart::ParserPart;

    void expectEnd(QStringView word);
    Statement parseTell(qsizetype start);
    Statement parseIf(qsizetype start);
    Statement parseRepeat(qsizetype start);
    Statement parseTry(qsizetype start);
    Statement parseConsidering(qsizetype start, bool considering);
    Statement parseTimeout(qsizetype start);
    Statement parseTransaction(qsizetype start);
    Statement parseUsingTerms(qsizetype start);
    Statement parseUse(qsizetype start);

private:
    Scope scopeOfApplication(const Element &application) const;
    Scope scopeOf(const Expression &target) const;
    bool parseElse(If &statement);
    void parseRepeatWith(Repeat &loop);
    void parseOnError(Try &statement);
    Attributes parseAttributes();
};

} // namespace ombru::applescript
