// Operators, from the loosest to the tightest: or, and, not, = ≠, < > and containment, as, &, + -, * / div mod, ^,
// signs.
#include "applescript/syntax/Parser.h"

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

ExpressionPtr Parser::parseExpression() {
    checkDepth();
    const auto start = peek().range.start;
    auto first = parseAnd();
    if (!atWord(u"or"))
        return first;
    Chain chain{std::move(first), {}};
    while (takeWord(u"or"))
        chain.steps.push_back({Operator::logicalOr, parseAnd()});
    return make(start, std::move(chain));
}

ExpressionPtr Parser::parseAnd() {
    const auto start = peek().range.start;
    auto first = parseNot();
    if (!atWord(u"and"))
        return first;
    Chain chain{std::move(first), {}};
    while (takeWord(u"and"))
        chain.steps.push_back({Operator::logicalAnd, parseNot()});
    return make(start, std::move(chain));
}

ExpressionPtr Parser::parseNot() {
    checkDepth();
    const auto start = peek().range.start;
    if (!takeWord(u"not"))
        return parseEquality();
    auto operand = parseNot();
    return make(start, Not{std::move(operand)});
}

std::optional<Parser::Comparison> Parser::comparison() const {
    if (peek().kind == Token::Kind::symbol) {
        const auto operation = symbolComparison(peek().key);
        return operation ? std::optional(Comparison{*operation, 1}) : std::nullopt;
    }
    if (peek().kind != Token::Kind::word || !mayStartPhrase(peek().key))
        return std::nullopt;
    for (const auto &phrase : phrases()) {
        if (const auto length = spells(rest(), phrase.words))
            return Comparison{phrase.operation, length};
    }
    return std::nullopt;
}

ExpressionPtr Parser::parseEquality() {
    const auto start = peek().range.start;
    auto left = parseRelation();
    const auto found = comparison();
    if (!found || !isEquality(found->operation))
        return left;
    if (spells(rest(found->length), u"running"_s))
        return parseIsRunning(std::move(left), found->operation, found->length);
    m_at += found->length;
    auto right = atWord(u"not") ? parseNot() : parseRelation();
    return make(start, Binary{found->operation, std::move(left), std::move(right)});
}

// application "Finder" is running
ExpressionPtr Parser::parseIsRunning(ExpressionPtr subject, Operator operation, std::size_t length) {
    const auto start = subject->range.start;
    m_at += length + 1;
    auto running = make(start, Property{Name(u"running"_s), true, std::move(subject)});
    if (operation == Operator::equal)
        return running;
    return make(start, Not{std::move(running)});
}

ExpressionPtr Parser::parseRelation() {
    const auto start = peek().range.start;
    auto left = parseCoercion();
    if (takeWord(u"exists")) { // window 1 exists
        Command command{u"exists"_s, std::move(left), {}};
        return make(start, std::move(command));
    }
    const auto found = comparison();
    if (!found || isEquality(found->operation))
        return left;
    m_at += found->length;
    auto right = parseCoercion();
    return make(start, Binary{found->operation, std::move(left), std::move(right)});
}

ExpressionPtr Parser::parseCoercion() {
    const auto start = peek().range.start;
    auto left = parseChain(CONCATENATION);
    for (int count = 0; !m_context.stopsAtAs && takeWord(u"as"); ++count) {
        if (count == MAX_COERCIONS)
            failTooDeep();
        auto type = parseType();
        left = make(start, Coercion{std::move(left), std::move(type)});
        left = parseChain(CONCATENATION, std::move(left)); // x as text & "y" goes on with the text
    }
    return left;
}

ExpressionPtr Parser::parseType() {
    if (atWord(u"a") || atWord(u"an"))
        ++m_at;
    skipThe();
    const auto start = peek().range.start;
    if (atSymbol(u"{"))
        return parseBraces();
    if (peek().kind == Token::Kind::chevron || atSymbol(u"("))
        return parseHead();
    const auto match = termAt();
    const bool isType = match.term && (match.term->kind == Term::Kind::elementClass || match.term->name == u"class" ||
                                       match.term->name == u"month" || match.term->name == u"weekday");
    if (!isType)
        failExpecting(u"class name"_s);
    m_at += match.length;
    return literal(start, ClassName{match.term->name});
}

std::optional<Operator> Parser::chainOperator(int level) const {
    const Token &token = peek();
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

// `first`, when given, is a finished operand to go on from.
ExpressionPtr Parser::parseChain(int level, ExpressionPtr first) {
    if (level == POWER)
        return parsePower(std::move(first));
    const auto start = first ? first->range.start : peek().range.start;
    auto operand = parseChain(level + 1, std::move(first));
    if (!chainOperator(level))
        return operand;
    Chain chain{std::move(operand), {}};
    while (const auto operation = chainOperator(level)) {
        ++m_at;
        chain.steps.push_back({*operation, parseChain(level + 1)});
    }
    return make(start, std::move(chain));
}

ExpressionPtr Parser::parsePower(ExpressionPtr first) {
    const auto start = first ? first->range.start : peek().range.start;
    checkDepth();
    auto base = first ? std::move(first) : parseSign();
    if (!takeSymbol(u"^"))
        return base;
    auto exponent = parsePower();
    return make(start, Binary{Operator::power, std::move(base), std::move(exponent)});
}

ExpressionPtr Parser::parseSign() {
    checkDepth();
    const auto start = peek().range.start;
    if (!atSymbol(u"-") && !atSymbol(u"+"))
        return parseReference();
    const bool negative = next().key == u"-";
    auto operand = parseSign();
    return make(start, Negation{std::move(operand), negative});
}

ExpressionPtr Parser::parseBraces() {
    const auto start = next().range.start;
    const Within context(*this, Context{false, false, m_context.constants});
    if (atLabel())
        return parseRecord(start);
    ListExpression list;
    while (!atSymbol(u"}")) {
        list.items.push_back(parseExpression());
        if (!takeSymbol(u","))
            break;
    }
    expectSymbol(u"}");
    return make(start, std::move(list));
}

ExpressionPtr Parser::parseRecord(qsizetype start) {
    RecordExpression record;
    do {
        Name label = parseLabel();
        expectSymbol(u":");
        record.fields.emplace_back(std::move(label), parseExpression());
    } while (takeSymbol(u","));
    expectSymbol(u"}");
    return make(start, std::move(record));
}

} // namespace ombru::applescript
