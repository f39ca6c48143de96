// Commands of the dictionaries with their parameters.
#pragma once
#include "applescript/syntax/ParserPart.h"

namespace ombru::applescript {

class CommandParser : private ParserPart {
public:
    using ParserPart::ParserPart;

    bool canStartExpression() const;
    ExpressionPtr parseCommand(const CommandTerm &command, std::size_t length);

private:
    bool atParameter(const CommandTerm &term) const;
    void parseDirect(Command &command, const CommandTerm &term);
    void parseParameters(Command &command, const CommandTerm &term);
    bool parseParameter(Command &command, const CommandTerm &term);
    bool parseFlags(Command &command, const CommandTerm &term);
    ExpressionPtr parseOffset(qsizetype start);
};

} // namespace ombru::applescript
