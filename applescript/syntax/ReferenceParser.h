// References: what is named, counted or described, and what it belongs to.
#pragma once
#include "applescript/syntax/ParserPart.h"

namespace ombru::applescript {

class ReferenceParser : private ParserPart {
public:
    using ParserPart::ParserPart;

    ExpressionPtr parseReference();
    ExpressionPtr parseOwner();
    ExpressionPtr parseOrdinal();
    ExpressionPtr parseEvery();
    bool atInsertionPoint() const;
    ExpressionPtr parseInsertionPoint();
    ExpressionPtr parseElement(const Term &term, bool everyWritten);

private:
    ExpressionPtr attach(ExpressionPtr part, ExpressionPtr container);
    const Term &expectClass(bool &plural);
    ExpressionPtr parseElementForm(Element element, qsizetype start, bool plural, bool everyWritten);
    void parseFilter(ExpressionPtr &expression);
    bool atKey() const;
    ExpressionPtr parseKey();
};

} // namespace ombru::applescript
