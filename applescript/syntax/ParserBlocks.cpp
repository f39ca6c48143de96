// Statements that contain others.
#include "applescript/syntax/Parser.h"

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
void Parser::expectEnd(QStringView word) {
    if (peek().kind == Token::Kind::endOfScript || !atWord(u"end"))
        failExpecting(u"“end”"_s);
    ++m_at;
    if (atEndOfStatement() || takeWord(word))
        return;
    failExpecting(u"“%1”, etc."_s.arg(word));
}

Scope Parser::scopeOfApplication(const Element &application) const {
    const auto *literal = application.key ? application.key->as<Literal>() : nullptr;
    return m_vocabulary.ofApplication(literal ? literal->value.as<QString>() : nullptr);
}

Scope Parser::scopeOf(const Expression &target) const {
    const auto *application = applicationIn(target);
    return application ? scopeOfApplication(*application) : m_scope;
}

Statement Parser::parseTell(qsizetype start) {
    ++m_at;
    Tell tell;
    tell.target = parseReference();
    const Scope outer = std::exchange(m_scope, scopeOf(*tell.target));
    if (takeWord(u"to")) {
        tell.body.push_back(parseStatement());
        m_scope = outer;
        return statement(start, std::move(tell));
    }
    expectEndOfLine();
    tell.body = parseBlock(false);
    m_scope = outer;
    expectEnd(u"tell");
    return statement(start, std::move(tell));
}

Statement Parser::parseIf(qsizetype start) {
    ++m_at;
    If statementIf;
    statementIf.branches.push_back({parseExpression(), {}});
    const bool then = takeWord(u"then");
    if (then && !atEndOfStatement()) {
        statementIf.branches.back().body.push_back(parseStatement());
        if (!atWord(u"else"))
            return statement(start, std::move(statementIf));
        ++m_at;
        statementIf.branches.push_back({});
        statementIf.branches.back().body.push_back(parseStatement());
        return statement(start, std::move(statementIf));
    }
    if (!atEndOfStatement())
        failExpecting(u"“then”, etc."_s);
    statementIf.branches.back().body = parseBlock(false);
    while (parseElse(statementIf))
        continue;
    expectEnd(u"if");
    return statement(start, std::move(statementIf));
}

// One `else if` or `else`; false when there is none, or no more may follow.
bool Parser::parseElse(If &statementIf) {
    if (!statementIf.branches.back().condition || !takeWord(u"else"))
        return false;
    statementIf.branches.push_back({});
    auto &branch = statementIf.branches.back();
    if (takeWord(u"if")) {
        branch.condition = parseExpression();
        takeWord(u"then");
    }
    if (!atEndOfStatement()) { // else S, on one line
        branch.body.push_back(parseStatement());
        skipLineEnds();
        return true;
    }
    branch.body = parseBlock(false);
    return true;
}

Statement Parser::parseRepeat(qsizetype start) {
    ++m_at;
    Repeat loop;
    if (takeWord(u"while") || atWord(u"until")) {
        loop.kind = takeWord(u"until") ? Repeat::Kind::until : Repeat::Kind::whileTrue;
        loop.subject = parseExpression();
    } else if (takeWord(u"with")) {
        parseRepeatWith(loop);
    } else if (!atEndOfStatement()) {
        loop.kind = Repeat::Kind::times;
        loop.subject = parseExpression();
        takeWord(u"times");
    }
    expectEndOfLine();
    loop.body = parseBlock(false);
    expectEnd(u"repeat");
    return statement(start, std::move(loop));
}

void Parser::parseRepeatWith(Repeat &loop) {
    loop.variable = parseVariable()->as<Variable>()->name;
    if (takeWord(u"in")) {
        loop.kind = Repeat::Kind::each;
        loop.subject = parseExpression();
        return;
    }
    if (!takeWord(u"from"))
        failExpecting(u"“from”, etc."_s);
    loop.kind = Repeat::Kind::counting;
    loop.subject = parseExpression();
    expectWord(u"to");
    loop.last = parseExpression();
    if (takeWord(u"by"))
        loop.step = parseExpression();
}

Statement Parser::parseTry(qsizetype start) {
    ++m_at;
    expectEndOfLine();
    Try tryStatement;
    tryStatement.body = parseBlock(false);
    if (atWord(u"on") && atWord(u"error", 1)) {
        m_at += 2;
        parseOnError(tryStatement);
    }
    if (peek().kind == Token::Kind::endOfScript || !takeWord(u"end"))
        failExpecting(u"“end”"_s);
    if (!takeWord(u"error") && !takeWord(u"try") && !atEndOfStatement())
        failExpecting(u"“try”, etc."_s);
    return statement(start, std::move(tryStatement));
}

void Parser::parseOnError(Try &tryStatement) {
    tryStatement.handles = true;
    while (!atEndOfStatement()) {
        skipThe();
        if (takeWord(u"number"))
            tryStatement.number =
                canStartExpression() && peek().kind != Token::Kind::word ? parseSign() : parseVariable();
        else if (takeWord(u"from"))
            tryStatement.from = parseVariable();
        else if (takeWords(u"partial result"_s))
            tryStatement.partial = parseVariable();
        else if (takeWord(u"to"))
            tryStatement.to = parseVariable();
        else if (!tryStatement.message)
            tryStatement.message = parseVariable();
        else
            failExpecting(u"end of line"_s);
    }
    tryStatement.handler = parseBlock(false);
}

Attributes Parser::parseAttributes() {
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
        takeWord(u"and");
        const auto *found = std::find_if(std::begin(known), std::end(known),
                                         [this](const auto &entry) { return takeWords(entry.first); });
        if (found == std::end(known))
            failExpecting(u"application constant or consideration"_s);
        attributes |= int(found->second);
    } while (takeSymbol(u",") || atWord(u"and"));
    return attributes;
}

Statement Parser::parseConsidering(qsizetype start, bool considering) {
    ++m_at;
    Considering block;
    (considering ? block.considered : block.ignored) = parseAttributes();
    if (takeWord(u"but")) {
        expectWord(considering ? u"ignoring" : u"considering");
        (considering ? block.ignored : block.considered) = parseAttributes();
    }
    expectEndOfLine();
    block.body = parseBlock(false);
    expectEnd(considering ? u"considering" : u"ignoring");
    return statement(start, std::move(block));
}

Statement Parser::parseTimeout(qsizetype start) {
    m_at += 2;
    takeWord(u"of");
    Timeout block;
    block.seconds = parseChain(0);
    if (!takeWord(u"seconds") && !takeWord(u"second"))
        failExpecting(u"“seconds”"_s);
    expectEndOfLine();
    block.body = parseBlock(false);
    expectEnd(u"timeout");
    return statement(start, std::move(block));
}

Statement Parser::parseTransaction(qsizetype start) {
    m_at += 2;
    if (!atEndOfStatement())
        parseExpression();
    expectEndOfLine();
    Timeout block;
    block.body = parseBlock(false);
    expectEnd(u"transaction");
    return statement(start, std::move(block));
}

// Only the scope changes; what is inside runs where it stands.
Statement Parser::parseUsingTerms(qsizetype start) {
    m_at += 2;
    expectWord(u"from");
    const auto application = parseReference();
    expectEndOfLine();
    const Scope outer = std::exchange(m_scope, scopeOf(*application));
    Timeout block;
    block.body = parseBlock(false);
    m_scope = outer;
    expectWord(u"end");
    if (takeWord(u"using")) {
        takeWord(u"terms");
        takeWord(u"from");
    }
    return statement(start, std::move(block));
}

// use AppleScript version "2.4", use scripting additions, use framework "Foundation", use application "Finder"
Statement Parser::parseUse(qsizetype start) {
    ++m_at;
    Use use;
    if (takeWord(u"framework")) {
        if (peek().kind != Token::Kind::text)
            failExpecting(u"“\"”"_s);
        use.framework = next().key;
        return statement(start, std::move(use));
    }
    while (!atEndOfStatement())
        ++m_at; // versions and identifiers do not matter: everything that is here is always in use
    return statement(start, std::move(use));
}

} // namespace ombru::applescript
