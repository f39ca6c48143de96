// What every part of the parser has: the tokens, and the way to the other parts.
#pragma once
#include "applescript/syntax/Cursor.h"

namespace ombru::applescript {

class Parser;
class BlockParser;
class CallParser;
class CommandParser;
class DefinitionParser;
class ExpressionParser;
class OperandParser;
class ReferenceParser;
class StatementParser;

class ParserPart {
public:
    ParserPart(Parser &parser, Cursor &cursor) : m_in(cursor), m_parser(parser) {}

protected:
    StatementParser &statements() const;
    BlockParser &blocks() const;
    DefinitionParser &definitions() const;
    ExpressionParser &expressions() const;
    ReferenceParser &references() const;
    OperandParser &operands() const;
    CommandParser &commands() const;
    CallParser &calls() const;

    Cursor &m_in;

private:
    Parser &m_parser;
};

} // namespace ombru::applescript
