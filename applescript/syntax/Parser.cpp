#include "applescript/syntax/Parser.h"

namespace ombru::applescript {

std::shared_ptr<const ScriptDefinition> Parser::parse() {
    m_definitions.collectLabeledHandlers();
    auto script = std::make_shared<ScriptDefinition>();
    m_definitions.parseScriptBody(*script, true);
    return script;
}

// ---- The way from part to part

StatementParser &ParserPart::statements() const {
    return m_parser.m_statements;
}

BlockParser &ParserPart::blocks() const {
    return m_parser.m_blocks;
}

DefinitionParser &ParserPart::definitions() const {
    return m_parser.m_definitions;
}

ExpressionParser &ParserPart::expressions() const {
    return m_parser.m_expressions;
}

ReferenceParser &ParserPart::references() const {
    return m_parser.m_references;
}

OperandParser &ParserPart::operands() const {
    return m_parser.m_operands;
}

CommandParser &ParserPart::commands() const {
    return m_parser.m_commands;
}

CallParser &ParserPart::calls() const {
    return m_parser.m_calls;
}

} // namespace ombru::applescript
