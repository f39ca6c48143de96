#include "applescript/syntax/Parser.h"

#include "applescript/values/Stack.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

Parser::Parser(const QString &script, const Vocabulary &vocabulary)
    : m_text(script), m_vocabulary(vocabulary), m_tokens(tokenize(script)) {}

std::shared_ptr<const ScriptDefinition> Parser::parse() {
    collectLabeledHandlers();
    auto script = std::make_shared<ScriptDefinition>();
    parseScriptBody(*script, true);
    return script;
}

bool isKeyword(const QString &word) {
    static const QSet<QString> keywords = {
        u"about"_s,      u"above"_s,   u"after"_s,       u"against"_s,   u"and"_s,         u"apart-from"_s,
        u"around"_s,     u"as"_s,      u"aside-from"_s,  u"at"_s,        u"back"_s,        u"before"_s,
        u"beginning"_s,  u"behind"_s,  u"below"_s,       u"beneath"_s,   u"beside"_s,      u"between"_s,
        u"but"_s,        u"by"_s,      u"considering"_s, u"contain"_s,   u"contains"_s,    u"continue"_s,
        u"copy"_s,       u"div"_s,     u"does"_s,        u"eighth"_s,    u"else"_s,        u"end"_s,
        u"equal"_s,      u"equals"_s,  u"error"_s,       u"every"_s,     u"exit"_s,        u"false"_s,
        u"fifth"_s,      u"first"_s,   u"for"_s,         u"fourth"_s,    u"from"_s,        u"front"_s,
        u"get"_s,        u"given"_s,   u"global"_s,      u"if"_s,        u"ignoring"_s,    u"in"_s,
        u"instead-of"_s, u"into"_s,    u"is"_s,          u"isn't"_s,     u"it"_s,          u"its"_s,
        u"last"_s,       u"local"_s,   u"me"_s,          u"middle"_s,    u"mod"_s,         u"my"_s,
        u"ninth"_s,      u"not"_s,     u"of"_s,          u"on"_s,        u"onto"_s,        u"or"_s,
        u"out-of"_s,     u"over"_s,    u"prop"_s,        u"property"_s,  u"put"_s,         u"ref"_s,
        u"reference"_s,  u"repeat"_s,  u"return"_s,      u"returning"_s, u"script"_s,      u"second"_s,
        u"set"_s,        u"seventh"_s, u"since"_s,       u"sixth"_s,     u"some"_s,        u"tell"_s,
        u"tenth"_s,      u"that"_s,    u"the"_s,         u"then"_s,      u"third"_s,       u"through"_s,
        u"thru"_s,       u"timeout"_s, u"times"_s,       u"to"_s,        u"transaction"_s, u"true"_s,
        u"try"_s,        u"until"_s,   u"where"_s,       u"while"_s,     u"whose"_s,       u"with"_s,
        u"without"_s,    u"doesn't"_s};
    return keywords.contains(word);
}

bool isPreposition(const QString &word) {
    static const QSet<QString> prepositions = {
        u"about"_s,  u"above"_s, u"against"_s,    u"apart-from"_s, u"around"_s,  u"aside-from"_s,
        u"at"_s,     u"below"_s, u"beneath"_s,    u"beside"_s,     u"between"_s, u"by"_s,
        u"for"_s,    u"from"_s,  u"instead-of"_s, u"into"_s,       u"on"_s,      u"onto"_s,
        u"out-of"_s, u"over"_s,  u"since"_s,      u"thru"_s,       u"through"_s, u"under"_s};
    return prepositions.contains(word);
}

// ---- Tokens

const Token &Parser::peek(std::size_t offset) const {
    return m_tokens[std::min(m_at + offset, m_tokens.size() - 1)];
}

std::span<const Token> Parser::rest(std::size_t offset) const {
    return std::span(m_tokens).subspan(std::min(m_at + offset, m_tokens.size() - 1));
}

bool Parser::atEndOfStatement() const {
    return peek().kind == Token::Kind::endOfLine || peek().kind == Token::Kind::endOfScript;
}

bool Parser::takeWord(QStringView word) {
    if (!atWord(word))
        return false;
    ++m_at;
    return true;
}

bool Parser::takeSymbol(QStringView symbol) {
    if (!atSymbol(symbol))
        return false;
    ++m_at;
    return true;
}

bool Parser::takeWords(const QString &words) {
    const auto length = spells(rest(), words);
    m_at += length;
    return length > 0;
}

void Parser::skipThe() {
    while (atWord(u"the") && !termAt().term)
        ++m_at;
}

void Parser::skipLineEnds() {
    while (peek().kind == Token::Kind::endOfLine)
        ++m_at;
}

void Parser::expectWord(QStringView word) {
    if (!takeWord(word))
        failExpecting(u"“%1”"_s.arg(word));
}

void Parser::expectSymbol(QStringView symbol) {
    if (!takeSymbol(symbol))
        failExpecting(u"“%1”"_s.arg(symbol));
}

void Parser::expectEndOfLine() {
    if (!atEndOfStatement())
        failExpecting(u"end of line"_s);
}

void Parser::checkDepth() const {
    if (stackIsExhausted())
        failTooDeep();
}

void Parser::failTooDeep() const {
    throw SyntaxError{peek().range, u"Stack overflow."_s, error::STACK_OVERFLOW};
}

void Parser::failExpecting(const QString &expected) const {
    throw SyntaxError{peek().range, u"Expected %1 but found %2."_s.arg(expected, describe())};
}

QString Parser::describe(std::size_t offset) const {
    const Token &token = peek(offset);
    switch (token.kind) {
    case Token::Kind::endOfLine:
        return u"end of line"_s;
    case Token::Kind::endOfScript:
        return u"end of script"_s;
    case Token::Kind::integer:
    case Token::Kind::ordinal:
        return u"number"_s;
    case Token::Kind::real:
        return u"real number"_s;
    case Token::Kind::text:
        return u"“\"”"_s;
    case Token::Kind::name:
        return u"identifier"_s;
    case Token::Kind::symbol:
        return u"“%1”"_s.arg(token.key);
    case Token::Kind::chevron:
        return u"“«”"_s;
    case Token::Kind::unknown:
        return u"unknown token"_s;
    case Token::Kind::word:
        break;
    }
    if (isKeyword(token.key))
        return u"“%1”"_s.arg(token.key);
    const auto match = termAt(offset);
    if (!match.term)
        return u"identifier"_s;
    switch (match.term->kind) {
    case Term::Kind::command:
        return u"command name"_s;
    case Term::Kind::property:
        return u"property"_s;
    case Term::Kind::elementClass:
        return match.term->plural ? u"plural class name"_s : u"class name"_s;
    case Term::Kind::constant:
        break;
    }
    return u"application constant or consideration"_s;
}

QString Parser::written(const Token &token) const {
    return m_text.sliced(token.range.start, token.range.end - token.range.start);
}

Name Parser::nameOf(const Token &token) const {
    if (token.kind == Token::Kind::name)
        return Name(token.key.toLower(), token.key);
    return Name(token.key, written(token));
}

ExpressionPtr Parser::make(qsizetype start, decltype(Expression::form) form) const {
    return std::make_unique<Expression>(Expression{from(start), std::move(form)});
}

ExpressionPtr Parser::literal(qsizetype start, Value value) const {
    return make(start, Literal{std::move(value)});
}

// ---- Statements

bool Parser::atBlockEnd(bool topLevel) const {
    if (peek().kind == Token::Kind::endOfScript)
        return true;
    if (atWord(u"end") || atWord(u"else"))
        return !topLevel;
    return !topLevel && atWord(u"on") && atWord(u"error", 1);
}

Block Parser::parseBlock(bool topLevel) {
    Block block;
    for (skipLineEnds(); !atBlockEnd(topLevel); skipLineEnds()) {
        block.push_back(parseStatement());
        expectEndOfLine();
    }
    return block;
}

Statement Parser::statement(qsizetype start, decltype(Statement::form) form) const {
    return Statement{from(start), std::move(form)};
}

Statement Parser::parseStatement() {
    checkDepth();
    const auto start = peek().range.start;
    m_context = {};
    if (auto keyword = parseKeywordStatement(start))
        return std::move(*keyword);
    auto expression = parseExpression();
    if (takeWord(u"returning")) // an old spelling of `set`
        return statement(start, Assignment{parsePattern(), std::move(expression)});
    return statement(start, ExpressionStatement{std::move(expression)});
}

std::optional<Statement> Parser::parseKeywordStatement(qsizetype start) {
    if (peek().kind != Token::Kind::word)
        return std::nullopt;
    const QString &word = peek().key;
    if (word == u"set" && !spells(rest(), u"set the clipboard to"_s))
        return parseSet(start, false);
    if (word == u"copy")
        return parseCopy(start);
    if (word == u"put")
        return parseSet(start, true);
    if (word == u"return")
        return parseReturn(start);
    if (word == u"error")
        return parseError(start);
    if (word == u"exit")
        return parseExit(start);
    if (word == u"global" || word == u"local")
        return parseDeclaration(start, word == u"global");
    if (word == u"tell")
        return parseTell(start);
    if (word == u"if")
        return parseIf(start);
    if (word == u"repeat")
        return parseRepeat(start);
    if (word == u"try")
        return parseTry(start);
    if (word == u"considering" || word == u"ignoring")
        return parseConsidering(start, word == u"considering");
    if (word == u"with" && atWord(u"timeout", 1))
        return parseTimeout(start);
    if (word == u"with" && atWord(u"transaction", 1))
        return parseTransaction(start);
    if (word == u"using" && atWord(u"terms", 1))
        return parseUsingTerms(start);
    if (word == u"continue")
        return parseContinue(start);
    return std::nullopt;
}

// set X to E, and the old: put E into X
Statement Parser::parseSet(qsizetype start, bool puts) {
    ++m_at;
    if (puts) {
        auto value = parseExpression();
        if (!takeWord(u"into"))
            expectWord(u"in");
        return statement(start, Assignment{parsePattern(), std::move(value)});
    }
    auto target = parsePattern();
    expectWord(u"to");
    return statement(start, Assignment{std::move(target), parseExpression()});
}

Statement Parser::parseCopy(qsizetype start) {
    ++m_at;
    auto value = parseExpression();
    if (!takeWord(u"into"))
        expectWord(u"to");
    return statement(start, Assignment{parsePattern(), std::move(value), true});
}

Statement Parser::parseReturn(qsizetype start) {
    ++m_at;
    if (atEndOfStatement() || atWord(u"else"))
        return statement(start, Return{});
    return statement(start, Return{parseExpression()});
}

Statement Parser::parseError(qsizetype start) {
    ++m_at;
    ErrorStatement error;
    while (!atEndOfStatement() && !atWord(u"else")) {
        if (takeWord(u"number"))
            error.number = parseExpression();
        else if (takeWord(u"from"))
            error.from = parseExpression();
        else if (takeWords(u"partial result"_s))
            error.partial = parseExpression();
        else if (takeWord(u"to"))
            error.to = parseExpression();
        else if (!error.message && canStartExpression())
            error.message = parseExpression();
        else
            failExpecting(u"end of line"_s);
    }
    return statement(start, std::move(error));
}

Statement Parser::parseExit(qsizetype start) {
    ++m_at;
    if (!takeWord(u"repeat") && !atEndOfStatement() && !atWord(u"else"))
        failExpecting(u"“repeat”"_s);
    return statement(start, ExitRepeat{});
}

Statement Parser::parseDeclaration(qsizetype start, bool global) {
    ++m_at;
    Declaration declaration{global, {}};
    do
        declaration.names.push_back(parseVariable()->as<Variable>()->name);
    while (takeSymbol(u","));
    return statement(start, std::move(declaration));
}

Statement Parser::parseContinue(qsizetype start) {
    ++m_at;
    return statement(start, Continue{parseExpression()});
}

// A name that can be assigned to.
ExpressionPtr Parser::parseVariable() {
    skipThe();
    const Token &token = peek();
    const bool word = token.kind == Token::Kind::word && !isKeyword(token.key);
    const auto match = word ? termAt() : Dictionary::Match{};
    const bool free = word && (!match.term || (match.length == 1 && match.term->kind == Term::Kind::property));
    if (token.kind != Token::Kind::name && !free)
        failExpecting(u"variable name or property"_s);
    ++m_at;
    return make(token.range.start, Variable{nameOf(token)});
}

// What `set` and `copy` assign to: any reference, or a list or record of them.
ExpressionPtr Parser::parsePattern() {
    skipThe();
    const auto match = peek().kind == Token::Kind::word ? termAt() : Dictionary::Match{};
    if (match.term && match.term->kind == Term::Kind::command)
        failExpecting(u"variable name or property"_s);
    return parseReference();
}

} // namespace ombru::applescript
