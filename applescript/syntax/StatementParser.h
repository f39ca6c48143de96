// Statements of one line, and the blocks that statements make.
#pragma once
#include "applescript/syntax/ParserPart.h"

namespace ombru::applescript {

class StatementParser : private ParserPart {
public:
    using ParserPart::ParserPart;

    Block parseBlock(bool topLevel);
    Statement parseStatement();
    Statement statement(qsizetype start, decltype(Statement::form) form) const;
    ExpressionPtr parseVariable();

private:
    bool atBlockEnd(bool topLevel) const;
    std::optional<Statement> parseKeywordStatement(qsizetype start);
    Statement parseSet(qsizetype start, bool puts);
    Statement parseCopy(qsizetype start);
    Statement parseReturn(qsizetype start);
    Statement parseError(qsizetype start);
    Statement parseExit(qsizetype start);
    Statement parseDeclaration(qsizetype start, bool global);
    Statement parseContinue(qsizetype start);
    ExpressionPtr parsePattern();
};

} // namespace ombru::applescript
