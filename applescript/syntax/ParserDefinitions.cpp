// What a script is made of: properties, handlers, script objects.
#include "applescript/syntax/Parser.h"

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
void Parser::collectLabeledHandlers() {
    for (std::size_t i = 0; i + 2 < m_tokens.size(); ++i) {
        const bool starts = i == 0 || m_tokens[i - 1].kind == Token::Kind::endOfLine;
        const Token &name = m_tokens[i + 1];
        if (!starts || !(m_tokens[i].isWord(u"on") || m_tokens[i].isWord(u"to")))
            continue;
        if ((name.kind != Token::Kind::word && name.kind != Token::Kind::name) || name.key == u"error")
            continue;
        const Token &after = m_tokens[i + 2];
        if (after.kind == Token::Kind::word &&
            (after.key == u"of" || after.key == u"in" || after.key == u"given" || isPreposition(after.key)))
            m_labeledHandlers.insert(name.key.toLower());
    }
}

void Parser::parseScriptBody(ScriptDefinition &script, bool topLevel) {
    for (skipLineEnds(); peek().kind != Token::Kind::endOfScript; skipLineEnds()) {
        if (!topLevel && atWord(u"end"))
            return;
        parseDefinitionOrStatement(script, topLevel);
        expectEndOfLine();
    }
}

void Parser::parseDefinitionOrStatement(ScriptDefinition &script, bool topLevel) {
    const auto start = peek().range.start;
    if ((atWord(u"on") || atWord(u"to")) && !atWord(u"error", 1)) {
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
    if ((atWord(u"property") || atWord(u"prop")) && peek(1).kind != Token::Kind::endOfLine)
        return script.body.push_back(parsePropertyDeclaration(start));
    if (atWord(u"script"))
        return script.body.push_back(parseScript(start));
    if (atWord(u"use") && topLevel && peek(1).kind == Token::Kind::word)
        return script.body.push_back(parseUse(start));
    auto parsed = parseStatement();
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

Statement Parser::parsePropertyDeclaration(qsizetype start) {
    ++m_at;
    PropertyDeclaration declaration;
    declaration.name = parseVariable()->as<Variable>()->name;
    expectSymbol(u":");
    declaration.value = parseExpression();
    return statement(start, std::move(declaration));
}

Statement Parser::parseScript(qsizetype start) {
    checkDepth();
    ++m_at;
    auto script = std::make_shared<ScriptDefinition>();
    if (!atEndOfStatement())
        script->name = parseVariable()->as<Variable>()->name;
    expectEndOfLine();
    parseScriptBody(*script, false);
    expectEnd(u"script");
    return statement(start, ScriptStatement{std::move(script)});
}

std::shared_ptr<const HandlerDefinition> Parser::parseHandler() {
    const auto start = next().range.start;
    auto handler = std::make_shared<HandlerDefinition>();
    const Token &name = peek();
    if (name.kind != Token::Kind::name && (name.kind != Token::Kind::word || isKeyword(name.key)))
        failExpecting(u"handler name"_s);
    ++m_at;
    handler->name = nameOf(name);
    handler->range = from(start);
    if (atSymbol(u"("))
        parsePositional(*handler);
    else if (atSymbol(u":"))
        parseInterleaved(*handler);
    else if (atSymbol(u"{") || (!atEndOfStatement() && (name.key == u"run" || name.key == u"open")))
        handler->parameters.push_back(parseParameter({}));
    else
        parseLabeled(*handler);
    expectEndOfLine();
    const Scope scope = m_scope;
    handler->body = parseBlock(false);
    m_scope = scope;
    if (!atWord(u"end"))
        failExpecting(u"“end”"_s);
    ++m_at;
    if (!atEndOfStatement() && peek().key.compare(name.key, Qt::CaseInsensitive) != 0)
        failExpecting(u"“%1”, etc."_s.arg(handler->name.spelling));
    while (!atEndOfStatement()) // the rest of an interleaved name
        ++m_at;
    return handler;
}

HandlerDefinition::Parameter Parser::parseParameter(const QString &label) {
    HandlerDefinition::Parameter parameter;
    parameter.label = label;
    parameter.pattern = atSymbol(u"{") ? parseBraces() : parseVariable();
    if (takeWord(u"as"))
        parameter.type = parseType();
    return parameter;
}

void Parser::parsePositional(HandlerDefinition &handler) {
    ++m_at;
    while (!atSymbol(u")")) {
        handler.parameters.push_back(parseParameter({}));
        if (!takeSymbol(u","))
            break;
    }
    expectSymbol(u")");
}

// on move:a toPlace:b
void Parser::parseInterleaved(HandlerDefinition &handler) {
    QString full = handler.name.spelling;
    ++m_at;
    handler.parameters.push_back(parseParameter({}));
    full += u':';
    while (peek().kind == Token::Kind::word && atSymbol(u":", 1)) {
        full += written(next()) + u':';
        ++m_at;
        handler.parameters.push_back(parseParameter({}));
    }
    handler.name = Name(full);
}

// on f of d above a from b given title:t
void Parser::parseLabeled(HandlerDefinition &handler) {
    if (takeWord(u"of") || takeWord(u"in"))
        handler.parameters.push_back(parseParameter(u"of"_s));
    while (peek().kind == Token::Kind::word && isPreposition(peek().key)) {
        const QString label = next().key;
        handler.parameters.push_back(parseParameter(label == u"through" ? u"thru"_s : label));
        takeSymbol(u",");
    }
    if (takeWord(u"given"))
        parseGiven(handler);
}

void Parser::parseGiven(HandlerDefinition &handler) {
    do {
        const QString label = parseLabel().key;
        expectSymbol(u":");
        auto parameter = parseParameter(label);
        if (takeSymbol(u":"))
            parameter.standard = parseExpression();
        handler.parameters.push_back(std::move(parameter));
    } while (takeSymbol(u","));
}

} // namespace ombru::applescript
