#include "applescript/syntax/ReferenceParser.h"

#include "applescript/syntax/ExpressionParser.h"
#include "applescript/syntax/Keywords.h"
#include "applescript/syntax/OperandParser.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

// `x's y's z ...` builds from the outside in without recursion; more than this is no script.
constexpr int MAX_POSSESSIVES = 500;

ExpressionPtr *containerOf(Expression &part) {
    if (auto *property = part.as<Property>())
        return &property->container;
    if (auto *element = part.as<Element>())
        return &element->container;
    if (auto *call = part.as<Call>())
        return &call->container;
    if (auto *list = part.as<ListExpression>())
        return &list->container;
    return nullptr;
}

} // namespace

// reference = head { 's head | (of | in) reference [filter] }
ExpressionPtr ReferenceParser::parseReference() {
    m_in.checkDepth();
    const auto start = m_in.peek().range.start;
    auto part = operands().parseHead();
    for (int count = 0;; ++count) {
        if (count == MAX_POSSESSIVES)
            m_in.failTooDeep();
        if (m_in.takeSymbol(u"'s")) {
            auto member = operands().parseHead();
            part = attach(std::move(member), std::move(part));
            part->range = m_in.from(start);
            continue;
        }
        const bool belongs = m_in.atWord(u"of") || (m_in.atWord(u"in") && !m_in.context().stopsAtIn);
        const auto *literalPart = part->as<Literal>();
        const bool attachable =
            containerOf(*part) || part->as<Variable>() || (literalPart && literalPart->value.is<ClassName>());
        const auto *list = part->as<ListExpression>();
        if (!belongs || !attachable || (list && (list->container || !m_in.atWord(u"of"))))
            break;
        m_in.skip();
        auto container = parseReference();
        part = attach(std::move(part), std::move(container));
        part->range = m_in.from(start);
        parseFilter(part);
    }
    return part;
}

// Puts `container` around the outermost container that the part has so far.
ExpressionPtr ReferenceParser::attach(ExpressionPtr part, ExpressionPtr container) {
    Expression *outermost = part.get();
    for (auto *inner = containerOf(*outermost); inner && *inner; inner = containerOf(*outermost))
        outermost = inner->get();
    if (auto *variable = outermost->as<Variable>()) {
        Name name = variable->name;
        outermost->form = Property{std::move(name), false, nullptr};
    } else if (auto *constant = outermost->as<Literal>(); constant && constant->value.is<ClassName>()) {
        Name name(constant->value.as<ClassName>()->name);
        outermost->form = Property{std::move(name), true, nullptr};
    }
    if (auto *list = outermost->as<ListExpression>()) {
        for (auto &item : list->items) {
            if (auto *variable = item->as<Variable>()) {
                Name name = variable->name;
                item->form = Property{std::move(name), false, nullptr};
            }
        }
    }
    auto *place = containerOf(*outermost);
    if (!place)
        throw SyntaxError{outermost->range, u"Expected end of line but found expression."_s};
    outermost->range.end = std::max(outermost->range.end, container->range.end);
    *place = std::move(container);
    return part;
}

// owner = (my | its) head
ExpressionPtr ReferenceParser::parseOwner() {
    const auto start = m_in.peek().range.start;
    const auto kind = m_in.next().key == u"my" ? Special::Kind::me : Special::Kind::it;
    auto owner = m_in.make(start, Special{kind});
    auto part = operands().parseHead();
    const auto whole = m_in.from(start);
    part = attach(std::move(part), std::move(owner));
    part->range = whole;
    return part;
}

const Term &ReferenceParser::expectClass(bool &plural) {
    m_in.skipThe();
    const auto match = m_in.termAt();
    if (!match.term || match.term->kind != Term::Kind::elementClass)
        m_in.failExpecting(u"class name"_s);
    m_in.skip(match.length);
    plural = match.term->plural;
    return *match.term;
}

// ordinal = (first | last | 3rd | some | middle ...) class [filter]
ExpressionPtr ReferenceParser::parseOrdinal() {
    const auto start = m_in.peek().range.start;
    const Token &token = m_in.next();
    Element element;
    if (token.kind == Token::Kind::ordinal || ordinalNumber(token.key)) {
        const qint64 index = token.kind == Token::Kind::ordinal ? qint64(token.number) : *ordinalNumber(token.key);
        element.form = Specifier::Form::index;
        element.key = m_in.literal(start, index);
    } else {
        element.form = token.key == u"some" ? Specifier::Form::some : Specifier::Form::middle;
    }
    bool plural = false;
    if (m_in.peek().kind == Token::Kind::chevron)
        element.className = m_in.next().key;
    else
        element.className = expectClass(plural).name;
    auto made = m_in.make(start, std::move(element));
    parseFilter(made);
    return made;
}

// every = every class [from reference to reference] [filter] | every property
ExpressionPtr ReferenceParser::parseEvery() {
    const auto start = m_in.next().range.start;
    if (const auto match = m_in.termAt(); match.term && match.term->kind == Term::Kind::property) {
        m_in.skip(match.length); // every `menu` like property: all of it
        return m_in.make(start, Property{Name(match.term->name), true, nullptr});
    }
    bool plural = false;
    Element element;
    element.className = expectClass(plural).name;
    return parseElementForm(std::move(element), start, true, true);
}

bool ReferenceParser::atInsertionPoint() const {
    const QString &word = m_in.peek().key;
    if (word == u"beginning" || word == u"end" || word == u"before" || word == u"after" || word == u"behind")
        return true;
    if (word == u"in")
        return m_in.atWord(u"front", 1) || m_in.atWord(u"back", 1);
    return (word == u"front" || word == u"back") && (m_in.atWord(u"of", 1) || m_in.atWord(u"in", 1));
}

// insertion-point = beginning | end | front | back | (before | after | behind | in front of | in back of) reference
ExpressionPtr ReferenceParser::parseInsertionPoint() {
    const auto start = m_in.peek().range.start;
    const bool inward = m_in.takeWord(u"in");
    const QString word = m_in.next().key;
    Element point;
    using enum Specifier::Form;
    point.form = word == u"beginning" ? beginning
                 : word == u"end"     ? end
                 : word == u"before"  ? ahead
                 : word == u"front"   ? (inward ? ahead : beginning)
                 : word == u"back"    ? (inward ? behind : end)
                                      : behind;
    point.className = u"insertion point"_s;
    if (inward)
        m_in.expectWord(u"of");
    if (point.form == ahead || point.form == behind)
        point.container = parseReference();
    return m_in.make(start, std::move(point));
}

// element = class [element-form]
ExpressionPtr ReferenceParser::parseElement(const Term &term, bool everyWritten) {
    Element element;
    element.className = term.name;
    return parseElementForm(std::move(element), m_in.last().range.start, term.plural, everyWritten);
}

// element-form = id key | named key | from reference to reference | (before | after) reference
//              | [index] key [(thru | through) key], and then [filter]; a class alone is a value
ExpressionPtr ReferenceParser::parseElementForm(Element element, qsizetype start, bool plural, bool everyWritten) {
    using enum Specifier::Form;
    const bool dateText = element.className == u"date";
    if (m_in.atWord(u"id") &&
        (m_in.atWord(u"id", 1) || m_in.peek(1).kind != Token::Kind::word || !isKeyword(m_in.peek(1).key)) &&
        !everyWritten) {
        m_in.skip();
        element.form = byId;
        element.key = parseKey();
    } else if (m_in.atWord(u"named") && !everyWritten) {
        m_in.skip();
        element.form = named;
        element.key = parseKey();
    } else if (m_in.takeWord(u"from")) {
        element.form = range;
        element.key = parseReference();
        m_in.expectWord(u"to");
        element.last = parseReference();
    } else if (!dateText && !everyWritten && (m_in.atWord(u"before") || m_in.atWord(u"after"))) {
        element.form = m_in.next().key == u"before" ? before : after;
        element.key = parseReference();
    } else if (atKey() && !everyWritten) {
        if (m_in.atWord(u"index"))
            m_in.skip();
        element.form = index; // or named: decided by what the key turns out to be
        element.key = parseKey();
        if (m_in.takeWord(u"thru") || m_in.takeWord(u"through")) {
            element.form = range;
            element.last = parseKey();
        }
    } else if (!plural && !everyWritten && !m_in.atWord(u"whose") && !m_in.atWord(u"where")) {
        return m_in.literal(start, ClassName{element.className});
    }
    auto made = m_in.make(start, std::move(element));
    parseFilter(made);
    return made;
}

// filter = (whose | where | that) expression, for what can be more than one thing
void ReferenceParser::parseFilter(ExpressionPtr &expression) {
    auto *element = expression->as<Element>();
    if (!element || element->test || !(m_in.atWord(u"whose") || m_in.atWord(u"where") || m_in.atWord(u"that")))
        return;
    using enum Specifier::Form;
    const auto *key = element->key ? element->key->as<Literal>() : nullptr;
    const bool ordinalIndex = element->form == index && key && key->value.is<qint64>();
    if (element->form != every && element->form != middle && element->form != some && !ordinalIndex)
        return;
    m_in.skip();
    const Cursor::Within context(m_in, {});
    element->test = expressions().parseExpression();
    expression->range.end = element->test->range.end;
}

// Whether an index or name can start here: what follows a class must not be an operator or the next parameter.
bool ReferenceParser::atKey() const {
    const Token &token = m_in.peek();
    switch (token.kind) {
    case Token::Kind::text:
    case Token::Kind::integer:
    case Token::Kind::real:
    case Token::Kind::name:
        return true;
    case Token::Kind::symbol:
        return token.key == u"(" || (token.key == u"-" && m_in.peek(1).kind == Token::Kind::integer);
    case Token::Kind::word:
        break;
    default:
        return false;
    }
    if (token.key == u"index")
        return m_in.peek(1).kind != Token::Kind::endOfLine && !isKeyword(m_in.peek(1).key);
    if (token.key == u"my")
        return true;
    return !isKeyword(token.key) && !expressions().comparison() && token.key != u"exists" && !m_in.termAt().term &&
           token.key != u"default" && token.key != u"buttons" && token.key != u"giving" && token.key != u"using";
}

// key = [-] head: an index, name or id, which binds more closely than `of`
ExpressionPtr ReferenceParser::parseKey() {
    const auto start = m_in.peek().range.start;
    if (m_in.takeSymbol(u"-")) {
        auto operand = operands().parseHead();
        return m_in.make(start, Negation{std::move(operand), true});
    }
    const Cursor::Within context(m_in, Cursor::Context{m_in.context().stopsAtAs, m_in.context().stopsAtIn, nullptr});
    return operands().parseHead();
}

} // namespace ombru::applescript
