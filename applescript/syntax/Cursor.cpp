#include "applescript/syntax/Cursor.h"

#include "applescript/syntax/Keywords.h"
#include "applescript/values/Stack.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

Cursor::Cursor(const QString &script, const Vocabulary &vocabulary)
    : m_text(script), m_vocabulary(vocabulary), m_tokens(tokenize(script)) {}

const Token &Cursor::peek(std::size_t offset) const {
    return m_tokens[std::min(m_at + offset, m_tokens.size() - 1)];
}

std::span<const Token> Cursor::rest(std::size_t offset) const {
    return std::span(m_tokens).subspan(std::min(m_at + offset, m_tokens.size() - 1));
}

bool Cursor::atEndOfStatement() const {
    return peek().kind == Token::Kind::endOfLine || peek().kind == Token::Kind::endOfScript;
}

bool Cursor::takeWord(QStringView word) {
    if (!atWord(word))
        return false;
    ++m_at;
    return true;
}

bool Cursor::takeSymbol(QStringView symbol) {
    if (!atSymbol(symbol))
        return false;
    ++m_at;
    return true;
}

bool Cursor::takeWords(const QString &words) {
    const auto length = spells(rest(), words);
    m_at += length;
    return length > 0;
}

void Cursor::skipThe() {
    while (atWord(u"the") && !termAt().term)
        ++m_at;
}

void Cursor::skipLineEnds() {
    while (peek().kind == Token::Kind::endOfLine)
        ++m_at;
}

void Cursor::expectWord(QStringView word) {
    if (!takeWord(word))
        failExpecting(u"“%1”"_s.arg(word));
}

void Cursor::expectSymbol(QStringView symbol) {
    if (!takeSymbol(symbol))
        failExpecting(u"“%1”"_s.arg(symbol));
}

void Cursor::expectEndOfLine() {
    if (!atEndOfStatement())
        failExpecting(u"end of line"_s);
}

void Cursor::checkDepth() const {
    if (stackIsExhausted())
        failTooDeep();
}

void Cursor::failTooDeep() const {
    throw SyntaxError{peek().range, u"Stack overflow."_s, error::STACK_OVERFLOW};
}

void Cursor::failExpecting(const QString &expected) const {
    throw SyntaxError{peek().range, u"Expected %1 but found %2."_s.arg(expected, describe())};
}

QString Cursor::describe() const {
    const Token &token = peek();
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
    return isKeyword(token.key) ? u"“%1”"_s.arg(token.key) : describeTerm();
}

QString Cursor::describeTerm() const {
    const auto match = termAt();
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

QString Cursor::written(const Token &token) const {
    return m_text.sliced(token.range.start, token.range.end - token.range.start);
}

Name Cursor::nameOf(const Token &token) const {
    if (token.kind == Token::Kind::name)
        return Name(token.key.toLower(), token.key);
    return Name(token.key, written(token));
}

ExpressionPtr Cursor::make(qsizetype start, decltype(Expression::form) form) const {
    return std::make_unique<Expression>(Expression{from(start), std::move(form)});
}

ExpressionPtr Cursor::literal(qsizetype start, Value value) const {
    return make(start, Literal{std::move(value)});
}

} // namespace ombru::applescript
