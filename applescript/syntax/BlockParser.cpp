#include "applescript/syntax/BlockParser.h"

#include "applescript/syntax/CommandParser.h"
#include "applescript/syntax/ExpressionParser.h"
#include "applescript/syntax/ReferenceParser.h"
#include "applescript/syntax/StatementParser.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

const Element *applicationIn(const Expression &expression) {
    const Expression *part = &expression;
    while (part) {
        if (const auto *element = part->as<Element>()) {
            if (element->className == u"application")
                return element;
            part = element->container.get();
        } else if (const auto *property = part->as<Property>()) {
            part = property->container.get();
        } else if (const auto *paren = part->as<Parenthesized>()) {
            part = paren->inner.get();
        } else {
            return nullptr;
        }
    }
    return nullptr;
}

} // namespace

// `end`, or `end` and the word that opened the block.
void BlockParser::expectEnd(QStringView word) {
    if (m_in.peek().kind == Token::Kind::endOfScript || !m_in.atWord(u"end"))
        m_in.failExpecting(u"“end”"_s);
    m_in.skip();
    if (m_in.atEndOfStatement() || m_in.takeWord(word))
        return;
    m_in.failExpecting(u"“%1”, etc."_s.arg(word));
}

Scope BlockParser::scopeOfApplication(const Element &application) const {
    const auto *literal = application.key ? application.key->as<Literal>() : nullptr;
    return m_in.vocabulary().ofApplication(literal ? literal->value.as<QString>() : nullptr);
}

Scope BlockParser::scopeOf(const Expression &target) const {
    const auto *application = applicationIn(target);
    return application ? scopeOfApplication(*application) : m_in.scope();
}

// tell = tell reference to statement | tell reference end-of-line block end [tell]
Statement BlockParser::parseTell(qsizetype start) {
    m_in.skip();
    Tell tell;
    tell.target = references().parseReference();
    const Scope outer = m_in.exchangeScope(scopeOf(*tell.target));
    if (m_in.takeWord(u"to")) {
        tell.body.push_back(statements().parseStatement());
        m_in.exchangeScope(outer);
        return statements().statement(start, std::move(tell));
    }
    m_in.expectEndOfLine();
    tell.body = statements().parseBlock(false);
    m_in.exchangeScope(outer);
    expectEnd(u"tell");
    return statements().statement(start, std::move(tell));
}

// if = if expression then statement [else statement] | if expression [then] block { else-part } end [if]
Statement BlockParser::parseIf(qsizetype start) {
    m_in.skip();
    If statementIf;
    statementIf.branches.push_back({expressions().parseExpression(), {}});
    const bool then = m_in.takeWord(u"then");
    if (then && !m_in.atEndOfStatement()) {
        statementIf.branches.back().body.push_back(statements().parseStatement());
        if (!m_in.atWord(u"else"))
            return statements().statement(start, std::move(statementIf));
        m_in.skip();
        statementIf.branches.push_back({});
        statementIf.branches.back().body.push_back(statements().parseStatement());
        return statements().statement(start, std::move(statementIf));
    }
    if (!m_in.atEndOfStatement())
        m_in.failExpecting(u"“then”, etc."_s);
    statementIf.branches.back().body = statements().parseBlock(false);
    while (parseElse(statementIf))
        continue;
    expectEnd(u"if");
    return statements().statement(start, std::move(statementIf));
}

// else-part = else if expression [then] block | else block, or one statement on the same line.
// False when there is none, or no more may follow.
bool BlockParser::parseElse(If &statementIf) {
    if (!statementIf.branches.back().condition || !m_in.takeWord(u"else"))
        return false;
    statementIf.branches.push_back({});
    auto &branch = statementIf.branches.back();
    if (m_in.takeWord(u"if")) {
        branch.condition = expressions().parseExpression();
        m_in.takeWord(u"then");
    }
    if (!m_in.atEndOfStatement()) { // else S, on one line
        branch.body.push_back(statements().parseStatement());
        m_in.skipLineEnds();
        return true;
    }
    branch.body = statements().parseBlock(false);
    return true;
}

// repeat = repeat [while expression | until expression | with repeat-with | expression [times]] block end [repeat]
Statement BlockParser::parseRepeat(qsizetype start) {
    m_in.skip();
    Repeat loop;
    if (m_in.takeWord(u"while") || m_in.atWord(u"until")) {
        loop.kind = m_in.takeWord(u"until") ? Repeat::Kind::until : Repeat::Kind::whileTrue;
        loop.subject = expressions().parseExpression();
    } else if (m_in.takeWord(u"with")) {
        parseRepeatWith(loop);
    } else if (!m_in.atEndOfStatement()) {
        loop.kind = Repeat::Kind::times;
        loop.subject = expressions().parseExpression();
        m_in.takeWord(u"times");
    }
    m_in.expectEndOfLine();
    loop.body = statements().parseBlock(false);
    expectEnd(u"repeat");
    return statements().statement(start, std::move(loop));
}

// repeat-with = variable in expression | variable from expression to expression [by expression]
void BlockParser::parseRepeatWith(Repeat &loop) {
    loop.variable = statements().parseVariable()->as<Variable>()->name;
    if (m_in.takeWord(u"in")) {
        loop.kind = Repeat::Kind::each;
        loop.subject = expressions().parseExpression();
        return;
    }
    if (!m_in.takeWord(u"from"))
        m_in.failExpecting(u"“from”, etc."_s);
    loop.kind = Repeat::Kind::counting;
    loop.subject = expressions().parseExpression();
    m_in.expectWord(u"to");
    loop.last = expressions().parseExpression();
    if (m_in.takeWord(u"by"))
        loop.step = expressions().parseExpression();
}

// try = try block [on error on-error] end [try | error]
Statement BlockParser::parseTry(qsizetype start) {
    m_in.skip();
    m_in.expectEndOfLine();
    Try tryStatement;
    tryStatement.body = statements().parseBlock(false);
    if (m_in.atWord(u"on") && m_in.atWord(u"error", 1)) {
        m_in.skip(2);
        parseOnError(tryStatement);
    }
    if (m_in.peek().kind == Token::Kind::endOfScript || !m_in.takeWord(u"end"))
        m_in.failExpecting(u"“end”"_s);
    if (!m_in.takeWord(u"error") && !m_in.takeWord(u"try") && !m_in.atEndOfStatement())
        m_in.failExpecting(u"“try”, etc."_s);
    return statements().statement(start, std::move(tryStatement));
}

// on-error = [variable] [number (variable | number)] [from v] [partial result v] [to v], in any order, block
void BlockParser::parseOnError(Try &tryStatement) {
    tryStatement.handles = true;
    while (!m_in.atEndOfStatement()) {
        m_in.skipThe();
        if (m_in.takeWord(u"number"))
            tryStatement.number = commands().canStartExpression() && m_in.peek().kind != Token::Kind::word
                                      ? expressions().parseSign()
                                      : statements().parseVariable();
        else if (m_in.takeWord(u"from"))
            tryStatement.from = statements().parseVariable();
        else if (m_in.takeWords(u"partial result"_s))
            tryStatement.partial = statements().parseVariable();
        else if (m_in.takeWord(u"to"))
            tryStatement.to = statements().parseVariable();
        else if (!tryStatement.message)
            tryStatement.message = statements().parseVariable();
        else
            m_in.failExpecting(u"end of line"_s);
    }
    tryStatement.handler = statements().parseBlock(false);
}

// attributes = attribute { (, | and) attribute }
Attributes BlockParser::parseAttributes() {
    static const std::pair<QString, Attribute> known[] = {
        {u"case"_s, Attribute::textCase},
        {u"diacriticals"_s, Attribute::diacriticals},
        {u"diacritical marks"_s, Attribute::diacriticals},
        {u"hyphens"_s, Attribute::hyphens},
        {u"punctuation"_s, Attribute::punctuation},
        {u"white space"_s, Attribute::whiteSpace},
        {u"numeric strings"_s, Attribute::numericStrings},
        {u"expansion"_s, Attribute::expansion},
        {u"application responses"_s, Attribute::applicationResponses},
    };
    Attributes attributes = 0;
    do {
        m_in.takeWord(u"and");
        const auto *found = std::find_if(std::begin(known), std::end(known),
                                         [this](const auto &entry) { return m_in.takeWords(entry.first); });
        if (found == std::end(known))
            m_in.failExpecting(u"application constant or consideration"_s);
        attributes |= int(found->second);
    } while (m_in.takeSymbol(u",") || m_in.atWord(u"and"));
    return attributes;
}

// considering = considering attributes [but ignoring attributes] block end [considering], and the other way round
Statement BlockParser::parseConsidering(qsizetype start, bool considering) {
    m_in.skip();
    Considering block;
    (considering ? block.considered : block.ignored) = parseAttributes();
    if (m_in.takeWord(u"but")) {
        m_in.expectWord(considering ? u"ignoring" : u"considering");
        (considering ? block.ignored : block.considered) = parseAttributes();
    }
    m_in.expectEndOfLine();
    block.body = statements().parseBlock(false);
    expectEnd(considering ? u"considering" : u"ignoring");
    return statements().statement(start, std::move(block));
}

// timeout = with timeout [of] chain (second | seconds) block end [timeout]
Statement BlockParser::parseTimeout(qsizetype start) {
    m_in.skip(2);
    m_in.takeWord(u"of");
    Timeout block;
    block.seconds = expressions().parseChain(0);
    if (!m_in.takeWord(u"seconds") && !m_in.takeWord(u"second"))
        m_in.failExpecting(u"“seconds”"_s);
    m_in.expectEndOfLine();
    block.body = statements().parseBlock(false);
    expectEnd(u"timeout");
    return statements().statement(start, std::move(block));
}

// transaction = with transaction [expression] block end [transaction]
Statement BlockParser::parseTransaction(qsizetype start) {
    m_in.skip(2);
    if (!m_in.atEndOfStatement())
        expressions().parseExpression();
    m_in.expectEndOfLine();
    Timeout block;
    block.body = statements().parseBlock(false);
    expectEnd(u"transaction");
    return statements().statement(start, std::move(block));
}

// using-terms = using terms from reference block end [using terms from].
// Only the scope changes; what is inside runs where it stands.
Statement BlockParser::parseUsingTerms(qsizetype start) {
    m_in.skip(2);
    m_in.expectWord(u"from");
    const auto application = references().parseReference();
    m_in.expectEndOfLine();
    const Scope outer = m_in.exchangeScope(scopeOf(*application));
    Timeout block;
    block.body = statements().parseBlock(false);
    m_in.exchangeScope(outer);
    m_in.expectWord(u"end");
    if (m_in.takeWord(u"using")) {
        m_in.takeWord(u"terms");
        m_in.takeWord(u"from");
    }
    return statements().statement(start, std::move(block));
}

// use = use framework text | use anything-else: AppleScript version "2.4", scripting additions, application "Finder"
Statement BlockParser::parseUse(qsizetype start) {
    m_in.skip();
    Use use;
    if (m_in.takeWord(u"framework")) {
        if (m_in.peek().kind != Token::Kind::text)
            m_in.failExpecting(u"“\"”"_s);
        use.framework = m_in.next().key;
        return statements().statement(start, std::move(use));
    }
    while (!m_in.atEndOfStatement())
        m_in.skip(); // versions and identifiers do not matter: everything that is here is always in use
    return statements().statement(start, std::move(use));
}

} // namespace ombru::applescript
