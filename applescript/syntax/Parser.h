// From a script's text to its syntax tree: recursive descent over the tokens, with the dictionaries in scope deciding
// what words mean. Every `tell` to an application that is named literally brings its dictionary into scope.
//
// Each part knows the grammar of its subject, which stands above the function that reads it: in it, [ ] is what may be
// left out, { } what may come again, | what may stand instead.
//
// Pure, any thread. Nested too deeply for the stack is a syntax error.
#pragma once
#include "applescript/syntax/BlockParser.h"
#include "applescript/syntax/CallParser.h"
#include "applescript/syntax/CommandParser.h"
#include "applescript/syntax/DefinitionParser.h"
#include "applescript/syntax/ExpressionParser.h"
#include "applescript/syntax/OperandParser.h"
#include "applescript/syntax/ReferenceParser.h"
#include "applescript/syntax/StatementParser.h"

namespace ombru::applescript {

class Parser {
public:
    Parser(const QString &script, const Vocabulary &vocabulary) : m_in(script, vocabulary) {}

    // Throws SyntaxError.
    std::shared_ptr<const ScriptDefinition> parse();

private:
    friend class ParserPart;

    Cursor m_in;
    StatementParser m_statements{*this, m_in};
    BlockParser m_blocks{*this, m_in};
    DefinitionParser m_definitions{*this, m_in};
    ExpressionParser m_expressions{*this, m_in};
    ReferenceParser m_references{*this, m_in};
    OperandParser m_operands{*this, m_in};
    CommandParser m_commands{*this, m_in};
    CallParser m_calls{*this, m_in};
};

} // namespace ombru::applescript
