#include "applescript/syntax/DefinitionParser.h"

#include "applescript/syntax/BlockParser.h"
#include "applescript/syntax/ExpressionParser.h"
#include "applescript/syntax/Keywords.h"
#include "applescript/syntax/OperandParser.h"
#include "applescript/syntax/StatementParser.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {
bool isDeclaration(const Statement &statement) {
    return std::holds_alternative<PropertyDeclaration>(statement.form) ||
           std::holds_alternative<ScriptStatement>(statement.form) || std::holds_alternative<Use>(statement.form) ||
           std::holds_alternative<Declaration>(statement.form);
}
} // namespace

// `f of x` is a call only where f is a handler with labels, which the whole script has to be searched for first.
void DefinitionParser::collectLabeledHandlers() {
    for (std::size_t i = 0; i + 2 < m_in.tokens().size(); ++i) {
        const bool starts = i == 0 || m_in.tokens()[i - 1].kind == Token::Kind::endOfLine;
        const Token &name = m_in.tokens()[i + 1];
        if (!starts || !(m_in.tokens()[i].isWord(u"on") || m_in.tokens()[i].isWord(u"to")))
            continue;
        if ((name.kind != Token::Kind::word && name.kind != Token::Kind::name) || name.key == u"error")
            continue;
        const Token &after = m_in.tokens()[i + 2];
        if (after.kind == Token::Kind::word &&
            (after.key == u"of" || after.key == u"in" || after.key == u"given" || isPreposition(after.key)))
            m_labeledHandlers.insert(name.key.toLower());
    }
}

// script-body = { definition-or-statement end-of-line }
void DefinitionParser::parseScriptBody(ScriptDefinition &script, bool topLevel) {
    for (m_in.skipLineEnds(); m_in.peek().kind != Token::Kind::endOfScript; m_in.skipLineEnds()) {
        if (!topLevel && m_in.atWord(u"end"))
            return;
        parseDefinitionOrStatement(script, topLevel);
        m_in.expectEndOfLine();
    }
}

// definition-or-statement = handler | property | script | use (outside script objects) | statement
void DefinitionParser::parseDefinitionOrStatement(ScriptDefinition &script, bool topLevel) {
    const auto start = m_in.peek().range.start;
    if ((m_in.atWord(u"on") || m_in.atWord(u"to")) && !m_in.atWord(u"error", 1)) {
        auto handler = parseHandler();
        const bool twice = std::any_of(script.handlers.begin(), script.handlers.end(),
                                       [&](const auto &other) { return other->name == handler->name; });
        if (twice || (handler->name.key == u"run" && script.hasStatements))
            throw SyntaxError{handler->range,
                              u"The handler %1 is defined more than once."_s.arg(handler->name.spelling),
                              error::GIVEN_TWICE};
        script.handlers.push_back(std::move(handler));
        return;
    }
    if ((m_in.atWord(u"property") || m_in.atWord(u"prop")) && m_in.peek(1).kind != Token::Kind::endOfLine)
        return script.body.push_back(parsePropertyDeclaration(start));
    if (m_in.atWord(u"script"))
        return script.body.push_back(parseScript(start));
    if (m_in.atWord(u"use") && topLevel && m_in.peek(1).kind == Token::Kind::word)
        return script.body.push_back(blocks().parseUse(start));
    auto parsed = statements().parseStatement();
    if (const auto *declaration = std::get_if<Declaration>(&parsed.form); declaration && declaration->global)
        script.globals.insert(script.globals.end(), declaration->names.begin(), declaration->names.end());
    if (!isDeclaration(parsed)) {
        const bool runs = std::any_of(script.handlers.begin(), script.handlers.end(),
                                      [](const auto &handler) { return handler->name.key == u"run"; });
        if (runs)
            throw SyntaxError{parsed.range, u"The handler run is defined more than once."_s, error::GIVEN_TWICE};
        script.hasStatements = true;
    }
    script.body.push_back(std::move(parsed));
}

// property = (property | prop) variable : expression
Statement DefinitionParser::parsePropertyDeclaration(qsizetype start) {
    m_in.skip();
    PropertyDeclaration declaration;
    declaration.name = statements().parseVariable()->as<Variable>()->name;
    m_in.expectSymbol(u":");
    declaration.value = expressions().parseExpression();
    return statements().statement(start, std::move(declaration));
}

// script = script [variable] script-body end [script]
Statement DefinitionParser::parseScript(qsizetype start) {
    m_in.checkDepth();
    m_in.skip();
    auto script = std::make_shared<ScriptDefinition>();
    if (!m_in.atEndOfStatement())
        script->name = statements().parseVariable()->as<Variable>()->name;
    m_in.expectEndOfLine();
    parseScriptBody(*script, false);
    blocks().expectEnd(u"script");
    return statements().statement(start, ScriptStatement{std::move(script)});
}

// handler = (on | to) name [positional | interleaved | labeled | pattern of run and open] block end [name]
std::shared_ptr<const HandlerDefinition> DefinitionParser::parseHandler() {
    const auto start = m_in.next().range.start;
    auto handler = std::make_shared<HandlerDefinition>();
    const Token &name = m_in.peek();
    if (name.kind != Token::Kind::name && (name.kind != Token::Kind::word || isKeyword(name.key)))
        m_in.failExpecting(u"handler name"_s);
    m_in.skip();
    handler->name = m_in.nameOf(name);
    handler->range = m_in.from(start);
    if (m_in.atSymbol(u"("))
        parsePositional(*handler);
    else if (m_in.atSymbol(u":"))
        parseInterleaved(*handler);
    else if (m_in.atSymbol(u"{") || (!m_in.atEndOfStatement() && (name.key == u"run" || name.key == u"open")))
        handler->parameters.push_back(parseParameter({}));
    else
        parseLabeled(*handler);
    m_in.expectEndOfLine();
    const Scope scope = m_in.scope();
    handler->body = statements().parseBlock(false);
    m_in.exchangeScope(scope);
    if (!m_in.atWord(u"end"))
        m_in.failExpecting(u"“end”"_s);
    m_in.skip();
    if (!m_in.atEndOfStatement() && m_in.peek().key.compare(name.key, Qt::CaseInsensitive) != 0)
        m_in.failExpecting(u"“%1”, etc."_s.arg(handler->name.spelling));
    while (!m_in.atEndOfStatement()) // the rest of an interleaved name
        m_in.skip();
    return handler;
}

// parameter = (variable | list or record of them) [as type]
HandlerDefinition::Parameter DefinitionParser::parseParameter(const QString &label) {
    HandlerDefinition::Parameter parameter;
    parameter.label = label;
    parameter.pattern = m_in.atSymbol(u"{") ? operands().parseBraces() : statements().parseVariable();
    if (m_in.takeWord(u"as"))
        parameter.type = expressions().parseType();
    return parameter;
}

// positional = ( [parameter { , parameter }] )
void DefinitionParser::parsePositional(HandlerDefinition &handler) {
    m_in.skip();
    while (!m_in.atSymbol(u")")) {
        handler.parameters.push_back(parseParameter({}));
        if (!m_in.takeSymbol(u","))
            break;
    }
    m_in.expectSymbol(u")");
}

// interleaved = : parameter { word : parameter }, as in: on move:a toPlace:b
void DefinitionParser::parseInterleaved(HandlerDefinition &handler) {
    QString full = handler.name.spelling;
    m_in.skip();
    handler.parameters.push_back(parseParameter({}));
    full += u':';
    while (m_in.peek().kind == Token::Kind::word && m_in.atSymbol(u":", 1)) {
        full += m_in.written(m_in.next()) + u':';
        m_in.skip();
        handler.parameters.push_back(parseParameter({}));
    }
    handler.name = Name(full);
}

// labeled = [(of | in) parameter] { preposition parameter [,] } [given given], as in: on f of d above a from b
void DefinitionParser::parseLabeled(HandlerDefinition &handler) {
    if (m_in.takeWord(u"of") || m_in.takeWord(u"in"))
        handler.parameters.push_back(parseParameter(u"of"_s));
    while (m_in.peek().kind == Token::Kind::word && isPreposition(m_in.peek().key)) {
        const QString label = m_in.next().key;
        handler.parameters.push_back(parseParameter(label == u"through" ? u"thru"_s : label));
        m_in.takeSymbol(u",");
    }
    if (m_in.takeWord(u"given"))
        parseGiven(handler);
}

// given = label : parameter [: standard] { , label : parameter [: standard] }
void DefinitionParser::parseGiven(HandlerDefinition &handler) {
    do {
        const QString label = operands().parseLabel().key;
        m_in.expectSymbol(u":");
        auto parameter = parseParameter(label);
        if (m_in.takeSymbol(u":"))
            parameter.standard = expressions().parseExpression();
        handler.parameters.push_back(std::move(parameter));
    } while (m_in.takeSymbol(u","));
}

} // namespace ombru::applescript
