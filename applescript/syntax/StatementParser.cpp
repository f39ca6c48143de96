#include "applescript/syntax/StatementParser.h"

#include "applescript/syntax/BlockParser.h"
#include "applescript/syntax/CommandParser.h"
#include "applescript/syntax/ExpressionParser.h"
#include "applescript/syntax/Keywords.h"
#include "applescript/syntax/ReferenceParser.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

// block = { statement end-of-line }, up to `end`, `else` or `on error`
Block StatementParser::parseBlock(bool topLevel) {
    Block block;
    for (m_in.skipLineEnds(); !atBlockEnd(topLevel); m_in.skipLineEnds()) {
        block.push_back(parseStatement());
        m_in.expectEndOfLine();
    }
    return block;
}

bool StatementParser::atBlockEnd(bool topLevel) const {
    if (m_in.peek().kind == Token::Kind::endOfScript)
        return true;
    if (m_in.atWord(u"end") || m_in.atWord(u"else"))
        return !topLevel;
    return !topLevel && m_in.atWord(u"on") && m_in.atWord(u"error", 1);
}

// statement = keyword-statement | expression | expression returning pattern (an old spelling of `set`)
Statement StatementParser::parseStatement() {
    m_in.checkDepth();
    const auto start = m_in.peek().range.start;
    m_in.startAfresh();
    if (auto keyword = parseKeywordStatement(start))
        return std::move(*keyword);
    auto expression = expressions().parseExpression();
    if (m_in.takeWord(u"returning")) // an old spelling of `set`
        return statement(start, Assignment{parsePattern(), std::move(expression)});
    return statement(start, ExpressionStatement{std::move(expression)});
}

// The statement that the word at the front begins; nothing when it is an expression.
std::optional<Statement> StatementParser::parseKeywordStatement(qsizetype start) {
    if (m_in.peek().kind != Token::Kind::word)
        return std::nullopt;
    const QString &word = m_in.peek().key;
    if (word == u"set" && !spells(m_in.rest(), u"set the clipboard to"_s))
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
        return blocks().parseTell(start);
    if (word == u"if")
        return blocks().parseIf(start);
    if (word == u"repeat")
        return blocks().parseRepeat(start);
    if (word == u"try")
        return blocks().parseTry(start);
    if (word == u"considering" || word == u"ignoring")
        return blocks().parseConsidering(start, word == u"considering");
    if (word == u"with" && m_in.atWord(u"timeout", 1))
        return blocks().parseTimeout(start);
    if (word == u"with" && m_in.atWord(u"transaction", 1))
        return blocks().parseTransaction(start);
    if (word == u"using" && m_in.atWord(u"terms", 1))
        return blocks().parseUsingTerms(start);
    if (word == u"continue")
        return parseContinue(start);
    return std::nullopt;
}

Statement StatementParser::statement(qsizetype start, decltype(Statement::form) form) const {
    return Statement{m_in.from(start), std::move(form)};
}

// set = set pattern to expression | put expression (into | in) pattern
Statement StatementParser::parseSet(qsizetype start, bool puts) {
    m_in.skip();
    if (puts) {
        auto value = expressions().parseExpression();
        if (!m_in.takeWord(u"into"))
            m_in.expectWord(u"in");
        return statement(start, Assignment{parsePattern(), std::move(value)});
    }
    auto target = parsePattern();
    m_in.expectWord(u"to");
    return statement(start, Assignment{std::move(target), expressions().parseExpression()});
}

// copy = copy expression (to | into) pattern
Statement StatementParser::parseCopy(qsizetype start) {
    m_in.skip();
    auto value = expressions().parseExpression();
    if (!m_in.takeWord(u"into"))
        m_in.expectWord(u"to");
    return statement(start, Assignment{parsePattern(), std::move(value), true});
}

// return = return [expression]
Statement StatementParser::parseReturn(qsizetype start) {
    m_in.skip();
    if (m_in.atEndOfStatement() || m_in.atWord(u"else"))
        return statement(start, Return{});
    return statement(start, Return{expressions().parseExpression()});
}

// error = error [text] [number n] [from x] [partial result x] [to x], in any order
Statement StatementParser::parseError(qsizetype start) {
    m_in.skip();
    ErrorStatement error;
    while (!m_in.atEndOfStatement() && !m_in.atWord(u"else")) {
        if (m_in.takeWord(u"number"))
            error.number = expressions().parseExpression();
        else if (m_in.takeWord(u"from"))
            error.from = expressions().parseExpression();
        else if (m_in.takeWords(u"partial result"_s))
            error.partial = expressions().parseExpression();
        else if (m_in.takeWord(u"to"))
            error.to = expressions().parseExpression();
        else if (!error.message && commands().canStartExpression())
            error.message = expressions().parseExpression();
        else
            m_in.failExpecting(u"end of line"_s);
    }
    return statement(start, std::move(error));
}

// exit = exit [repeat]
Statement StatementParser::parseExit(qsizetype start) {
    m_in.skip();
    if (!m_in.takeWord(u"repeat") && !m_in.atEndOfStatement() && !m_in.atWord(u"else"))
        m_in.failExpecting(u"“repeat”"_s);
    return statement(start, ExitRepeat{});
}

// declaration = (global | local) variable { , variable }
Statement StatementParser::parseDeclaration(qsizetype start, bool global) {
    m_in.skip();
    Declaration declaration{global, {}};
    do
        declaration.names.push_back(parseVariable()->as<Variable>()->name);
    while (m_in.takeSymbol(u","));
    return statement(start, std::move(declaration));
}

// continue = continue call
Statement StatementParser::parseContinue(qsizetype start) {
    m_in.skip();
    return statement(start, Continue{expressions().parseExpression()});
}

// variable = identifier | |any text| | a property of one word: a name that can be assigned to
ExpressionPtr StatementParser::parseVariable() {
    m_in.skipThe();
    const Token &token = m_in.peek();
    const bool word = token.kind == Token::Kind::word && !isKeyword(token.key);
    const auto match = word ? m_in.termAt() : Dictionary::Match{};
    const bool free = word && (!match.term || (match.length == 1 && match.term->kind == Term::Kind::property));
    if (token.kind != Token::Kind::name && !free)
        m_in.failExpecting(u"variable name or property"_s);
    m_in.skip();
    return m_in.make(token.range.start, Variable{m_in.nameOf(token)});
}

// pattern = reference | list or record of patterns: what `set` and `copy` assign to
ExpressionPtr StatementParser::parsePattern() {
    m_in.skipThe();
    const auto match = m_in.peek().kind == Token::Kind::word ? m_in.termAt() : Dictionary::Match{};
    if (match.term && match.term->kind == Term::Kind::command)
        m_in.failExpecting(u"variable name or property"_s);
    return references().parseReference();
}

} // namespace ombru::applescript
