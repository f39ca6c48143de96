#include "applescript/syntax/ExpressionParser.h"

#include "applescript/syntax/OperandParser.h"
#include "applescript/syntax/ReferenceParser.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

constexpr int CONCATENATION = 0;
constexpr int SUM = 1;
constexpr int PRODUCT = 2;
constexpr int POWER = 3;

// What can be coerced again and again: `x as list as text`. More is no script.
constexpr int MAX_COERCIONS = 500;

struct Phrase {
    QString words;
    Operator operation;
};

// The English operators, the longer before the shorter that it starts with.
const std::vector<Phrase> &phrases() {
    using enum Operator;
    static const std::vector<Phrase> list = {
        {u"is not greater than or equal to"_s, less},
        {u"is not greater than or equal"_s, less},
        {u"is not less than or equal to"_s, greater},
        {u"is not less than or equal"_s, greater},
        {u"isn't greater than or equal to"_s, less},
        {u"isn't greater than or equal"_s, less},
        {u"isn't less than or equal to"_s, greater},
        {u"isn't less than or equal"_s, greater},
        {u"is greater than or equal to"_s, greaterOrEqual},
        {u"is greater than or equal"_s, greaterOrEqual},
        {u"is less than or equal to"_s, lessOrEqual},
        {u"is less than or equal"_s, lessOrEqual},
        {u"greater than or equal to"_s, greaterOrEqual},
        {u"greater than or equal"_s, greaterOrEqual},
        {u"less than or equal to"_s, lessOrEqual},
        {u"less than or equal"_s, lessOrEqual},
        {u"is not greater than"_s, lessOrEqual},
        {u"is not less than"_s, greaterOrEqual},
        {u"isn't greater than"_s, lessOrEqual},
        {u"isn't less than"_s, greaterOrEqual},
        {u"is greater than"_s, greater},
        {u"is less than"_s, less},
        {u"greater than"_s, greater},
        {u"less than"_s, less},
        {u"does not come before"_s, greaterOrEqual},
        {u"doesn't come before"_s, greaterOrEqual},
        {u"does not come after"_s, lessOrEqual},
        {u"doesn't come after"_s, lessOrEqual},
        {u"comes before"_s, less},
        {u"comes after"_s, greater},
        {u"is not contained by"_s, isNotIn},
        {u"isn't contained by"_s, isNotIn},
        {u"is contained by"_s, isIn},
        {u"is not in"_s, isNotIn},
        {u"isn't in"_s, isNotIn},
        {u"is in"_s, isIn},
        {u"does not contain"_s, notContains},
        {u"doesn't contain"_s, notContains},
        {u"contains"_s, contains},
        {u"contain"_s, contains},
        {u"starts with"_s, startsWith},
        {u"start with"_s, startsWith},
        {u"begins with"_s, startsWith},
        {u"begin with"_s, startsWith},
        {u"ends with"_s, endsWith},
        {u"end with"_s, endsWith},
        {u"is not equal to"_s, notEqual},
        {u"is not equal"_s, notEqual},
        {u"isn't equal to"_s, notEqual},
        {u"isn't equal"_s, notEqual},
        {u"does not equal"_s, notEqual},
        {u"doesn't equal"_s, notEqual},
        {u"is not the same as"_s, notEqual},
        {u"is the same as"_s, equal},
        {u"is equal to"_s, equal},
        {u"is equal"_s, equal},
        {u"equal to"_s, equal},
        {u"equals"_s, equal},
        {u"equal"_s, equal},
        {u"is not"_s, notEqual},
        {u"isn't"_s, notEqual},
        {u"is"_s, equal},
    };
    return list;
}

bool isEquality(Operator operation) {
    return operation == Operator::equal || operation == Operator::notEqual;
}

std::optional<Operator> symbolComparison(const QString &symbol) {
    static constexpr std::pair<QStringView, Operator> known[] = {
        {u"=", Operator::equal},   {u"≠", Operator::notEqual},    {u"<", Operator::less},
        {u">", Operator::greater}, {u"≤", Operator::lessOrEqual}, {u"≥", Operator::greaterOrEqual}};
    for (const auto &[written, operation] : known) {
        if (symbol == written)
            return operation;
    }
    return std::nullopt;
}

bool mayStartPhrase(const QString &word) {
    static const QSet<QString> starts = {u"is"_s,    u"isn't"_s,  u"does"_s,     u"doesn't"_s, u"greater"_s,
                                         u"less"_s,  u"comes"_s,  u"contains"_s, u"contain"_s, u"starts"_s,
                                         u"start"_s, u"begins"_s, u"begin"_s,    u"ends"_s,    u"end"_s,
                                         u"equal"_s, u"equals"_s};
    return starts.contains(word);
}

} // namespace

// expression = and { or and }
ExpressionPtr ExpressionParser::parseExpression() {
    m_in.checkDepth();
    const auto start = m_in.peek().range.start;
    auto first = parseAnd();
    if (!m_in.atWord(u"or"))
        return first;
    Chain chain{std::move(first), {}};
    while (m_in.takeWord(u"or"))
        chain.steps.push_back({Operator::logicalOr, parseAnd()});
    return m_in.make(start, std::move(chain));
}

// and = not { and not }
ExpressionPtr ExpressionParser::parseAnd() {
    const auto start = m_in.peek().range.start;
    auto first = parseNot();
    if (!m_in.atWord(u"and"))
        return first;
    Chain chain{std::move(first), {}};
    while (m_in.takeWord(u"and"))
        chain.steps.push_back({Operator::logicalAnd, parseNot()});
    return m_in.make(start, std::move(chain));
}

// not = not not | equality
ExpressionPtr ExpressionParser::parseNot() {
    m_in.checkDepth();
    const auto start = m_in.peek().range.start;
    if (!m_in.takeWord(u"not"))
        return parseEquality();
    auto operand = parseNot();
    return m_in.make(start, Not{std::move(operand)});
}

std::optional<ExpressionParser::Comparison> ExpressionParser::comparison() const {
    if (m_in.peek().kind == Token::Kind::symbol) {
        const auto operation = symbolComparison(m_in.peek().key);
        return operation ? std::optional(Comparison{*operation, 1}) : std::nullopt;
    }
    if (m_in.peek().kind != Token::Kind::word || !mayStartPhrase(m_in.peek().key))
        return std::nullopt;
    for (const auto &phrase : phrases()) {
        if (const auto length = spells(m_in.rest(), phrase.words))
            return Comparison{phrase.operation, length};
    }
    return std::nullopt;
}

// equality = relation [(= | ≠ | is | is not ...) relation] | relation is [not] running
ExpressionPtr ExpressionParser::parseEquality() {
    const auto start = m_in.peek().range.start;
    auto left = parseRelation();
    const auto found = comparison();
    if (!found || !isEquality(found->operation))
        return left;
    if (spells(m_in.rest(found->length), u"running"_s))
        return parseIsRunning(std::move(left), found->operation, found->length);
    m_in.skip(found->length);
    auto right = m_in.atWord(u"not") ? parseNot() : parseRelation();
    return m_in.make(start, Binary{found->operation, std::move(left), std::move(right)});
}

// application "Finder" is running
ExpressionPtr ExpressionParser::parseIsRunning(ExpressionPtr subject, Operator operation, std::size_t length) {
    const auto start = subject->range.start;
    m_in.skip(length + 1);
    auto running = m_in.make(start, Property{Name(u"running"_s), true, std::move(subject)});
    if (operation == Operator::equal)
        return running;
    return m_in.make(start, Not{std::move(running)});
}

// relation = coercion [(< | > | contains | is in ...) coercion] | coercion exists
ExpressionPtr ExpressionParser::parseRelation() {
    const auto start = m_in.peek().range.start;
    auto left = parseCoercion();
    if (m_in.takeWord(u"exists")) { // window 1 exists
        Command command{u"exists"_s, std::move(left), {}};
        return m_in.make(start, std::move(command));
    }
    const auto found = comparison();
    if (!found || isEquality(found->operation))
        return left;
    m_in.skip(found->length);
    auto right = parseCoercion();
    return m_in.make(start, Binary{found->operation, std::move(left), std::move(right)});
}

// coercion = chain { as type [& chain] }
ExpressionPtr ExpressionParser::parseCoercion() {
    const auto start = m_in.peek().range.start;
    auto left = parseChain(CONCATENATION);
    for (int count = 0; !m_in.context().stopsAtAs && m_in.takeWord(u"as"); ++count) {
        if (count == MAX_COERCIONS)
            m_in.failTooDeep();
        auto type = parseType();
        left = m_in.make(start, Coercion{std::move(left), std::move(type)});
        left = parseChain(CONCATENATION, std::move(left)); // x as text & "y" goes on with the text
    }
    return left;
}

// type = [a | an] [the] class | list of classes | «class xxxx» | (expression)
ExpressionPtr ExpressionParser::parseType() {
    if (m_in.atWord(u"a") || m_in.atWord(u"an"))
        m_in.skip();
    m_in.skipThe();
    const auto start = m_in.peek().range.start;
    if (m_in.atSymbol(u"{"))
        return operands().parseBraces();
    if (m_in.peek().kind == Token::Kind::chevron || m_in.atSymbol(u"("))
        return operands().parseHead();
    const auto match = m_in.termAt();
    const bool isType = match.term && (match.term->kind == Term::Kind::elementClass || match.term->name == u"class" ||
                                       match.term->name == u"month" || match.term->name == u"weekday");
    if (!isType)
        m_in.failExpecting(u"class name"_s);
    m_in.skip(match.length);
    return m_in.literal(start, ClassName{match.term->name});
}

std::optional<Operator> ExpressionParser::chainOperator(int level) const {
    const Token &token = m_in.peek();
    if (token.kind == Token::Kind::word) {
        if (level == PRODUCT && token.key == u"div")
            return Operator::integerDivide;
        if (level == PRODUCT && token.key == u"mod")
            return Operator::modulo;
        return std::nullopt;
    }
    if (token.kind != Token::Kind::symbol)
        return std::nullopt;
    if (level == CONCATENATION && token.key == u"&")
        return Operator::concatenate;
    if (level == SUM && (token.key == u"+" || token.key == u"-"))
        return token.key == u"+" ? Operator::add : Operator::subtract;
    if (level == PRODUCT && (token.key == u"*" || token.key == u"/"))
        return token.key == u"*" ? Operator::multiply : Operator::divide;
    return std::nullopt;
}

// chain = sum { & sum }; sum = product { (+ | -) product }; product = power { (* | / | div | mod) power }.
// `first`, when given, is a finished operand to go on from.
ExpressionPtr ExpressionParser::parseChain(int level, ExpressionPtr first) {
    if (level == POWER)
        return parsePower(std::move(first));
    const auto start = first ? first->range.start : m_in.peek().range.start;
    auto operand = parseChain(level + 1, std::move(first));
    if (!chainOperator(level))
        return operand;
    Chain chain{std::move(operand), {}};
    while (const auto operation = chainOperator(level)) {
        m_in.skip();
        chain.steps.push_back({*operation, parseChain(level + 1)});
    }
    return m_in.make(start, std::move(chain));
}

// power = sign [^ power]
ExpressionPtr ExpressionParser::parsePower(ExpressionPtr first) {
    const auto start = first ? first->range.start : m_in.peek().range.start;
    m_in.checkDepth();
    auto base = first ? std::move(first) : parseSign();
    if (!m_in.takeSymbol(u"^"))
        return base;
    auto exponent = parsePower();
    return m_in.make(start, Binary{Operator::power, std::move(base), std::move(exponent)});
}

// sign = { + | - } reference
ExpressionPtr ExpressionParser::parseSign() {
    m_in.checkDepth();
    const auto start = m_in.peek().range.start;
    if (!m_in.atSymbol(u"-") && !m_in.atSymbol(u"+"))
        return references().parseReference();
    const bool negative = m_in.next().key == u"-";
    auto operand = parseSign();
    return m_in.make(start, Negation{std::move(operand), negative});
}

} // namespace ombru::applescript
