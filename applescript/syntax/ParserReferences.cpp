// References: what is named, counted or described, and what it belongs to.
#include "applescript/syntax/Parser.h"

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

std::optional<int> ordinal(const QString &word) {
    static const QStringList words = {u"first"_s, u"second"_s,  u"third"_s,  u"fourth"_s, u"fifth"_s,
                                      u"sixth"_s, u"seventh"_s, u"eighth"_s, u"ninth"_s,  u"tenth"_s};
    const auto index = words.indexOf(word);
    if (index >= 0)
        return int(index) + 1;
    if (word == u"front")
        return 1;
    if (word == u"last" || word == u"back")
        return -1;
    return std::nullopt;
}

} // namespace

// A head and everything it is `of`.
ExpressionPtr Parser::parseReference() {
    checkDepth();
    const auto start = peek().range.start;
    auto part = parseHead();
    for (int count = 0;; ++count) {
        if (count == MAX_POSSESSIVES)
            failTooDeep();
        if (takeSymbol(u"'s")) {
            auto member = parseHead();
            part = attach(std::move(member), std::move(part));
            part->range = from(start);
            continue;
        }
        const bool belongs = atWord(u"of") || (atWord(u"in") && !m_context.stopsAtIn);
        const auto *literalPart = part->as<Literal>();
        const bool attachable =
            containerOf(*part) || part->as<Variable>() || (literalPart && literalPart->value.is<ClassName>());
        const auto *list = part->as<ListExpression>();
        if (!belongs || !attachable || (list && (list->container || !atWord(u"of"))))
            break;
        ++m_at;
        auto container = parseReference();
        part = attach(std::move(part), std::move(container));
        part->range = from(start);
        parseFilter(part);
    }
    return part;
}

// Puts `container` around the outermost container that the part has so far.
ExpressionPtr Parser::attach(ExpressionPtr part, ExpressionPtr container) {
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

ExpressionPtr Parser::parseHead() {
    checkDepth();
    skipThe();
    const Token &token = peek();
    const auto start = token.range.start;
    if (auto constant = parseContextConstant())
        return constant;
    switch (token.kind) {
    case Token::Kind::text:
        ++m_at;
        return literal(start, token.key);
    case Token::Kind::integer:
        ++m_at;
        return literal(start, qint64(token.number));
    case Token::Kind::real:
        ++m_at;
        return literal(start, token.number);
    case Token::Kind::chevron:
        return parseChevron();
    case Token::Kind::ordinal:
        return parseOrdinal();
    case Token::Kind::word:
        return parseWordHead();
    case Token::Kind::name: {
        ++m_at;
        const Name name = nameOf(token);
        return atSymbol(u"(") ? parseCall(name, start) : make(start, Variable{name});
    }
    default:
        break;
    }
    if (atSymbol(u"("))
        return parseParenthesized();
    if (atSymbol(u"{"))
        return parseBraces();
    failExpecting(u"expression"_s);
}

// A word that is a constant only in the parameter being read: `with icon note`.
ExpressionPtr Parser::parseContextConstant() {
    if (!m_context.constants || peek().kind != Token::Kind::word)
        return nullptr;
    const auto start = peek().range.start;
    const QString *longest = nullptr;
    std::size_t length = 0;
    for (const auto &constant : *m_context.constants) {
        if (const auto found = spells(rest(), constant); found > length) {
            longest = &constant;
            length = found;
        }
    }
    if (!longest)
        return nullptr;
    m_at += length;
    return literal(start, Constant{*longest});
}

ExpressionPtr Parser::parseWordHead() {
    const auto start = peek().range.start;
    if (auto special = parseSpecialWord())
        return special;
    const auto match = termAt();
    if (match.term && !(match.length == 1 && atSymbol(u":", 1) && !atSymbol(u"{", 2)))
        return parseTerm(match);
    if (!match.term && isKeyword(peek().key))
        failExpecting(u"expression"_s);
    const Name name = nameOf(next());
    if (m_labeledHandlers.contains(name.key) && !atSymbol(u"("))
        return parseLabeledCall(name, start);
    if (atSymbol(u"("))
        return parseCall(name, start);
    if (atSymbol(u":"))
        return parseInterleavedCall(name, start);
    return make(start, Variable{name});
}

// The words with a meaning of their own; nothing when this is none.
ExpressionPtr Parser::parseSpecialWord() {
    const auto start = peek().range.start;
    const QString &word = peek().key;
    const auto match = termAt();
    if (auto value = parseConstantWord(!match.term || (match.term->kind == Term::Kind::property && match.length == 1)))
        return value;
    if (auto special = parseAlwaysThere())
        return special;
    if (word == u"my" || word == u"its")
        return parseOwner();
    if (spells(rest(), u"number of"_s)) {
        m_at += 2;
        return make(start, Command{u"count"_s, parseReference(), {}});
    }
    for (const auto &words : {u"a reference to"_s, u"a ref to"_s, u"reference to"_s, u"ref to"_s, u"a ref"_s}) {
        if (takeWords(words)) {
            auto target = parseReference();
            return make(start, ReferenceTo{std::move(target)});
        }
    }
    if (word == u"every")
        return parseEvery();
    if (atInsertionPoint())
        return parseInsertionPoint();
    if (!match.term && (ordinal(word) || word == u"some" || word == u"middle"))
        return parseOrdinal();
    return nullptr;
}

// true, return, and the words that mean a text or number unless the dictionary knows them as something else.
ExpressionPtr Parser::parseConstantWord(bool unclaimed) {
    static const QHash<QString, Value> always = {
        {u"true"_s, Value(true)}, {u"false"_s, Value(false)}, {u"return"_s, Value(u"\r"_s)}};
    static const QHash<QString, Value> otherwise = {{u"tab"_s, Value(u"\t"_s)},
                                                    {u"space"_s, Value(u" "_s)},
                                                    {u"linefeed"_s, Value(u"\n"_s)},
                                                    {u"quote"_s, Value(u"\""_s)},
                                                    {u"pi"_s, Value(3.141592653589793)}};
    const auto start = peek().range.start;
    const QString &word = peek().key;
    Value value = always.value(word);
    if (value.isNothing() && unclaimed)
        value = otherwise.value(word);
    if (value.isNothing())
        return nullptr;
    ++m_at;
    return literal(start, std::move(value));
}

ExpressionPtr Parser::parseAlwaysThere() {
    static const QHash<QString, Special::Kind> kinds = {{u"it"_s, Special::Kind::it},
                                                        {u"me"_s, Special::Kind::me},
                                                        {u"result"_s, Special::Kind::result},
                                                        {u"applescript"_s, Special::Kind::appleScript}};
    const auto start = peek().range.start;
    if (const auto kind = kinds.constFind(peek().key); kind != kinds.constEnd()) {
        ++m_at;
        return make(start, Special{*kind});
    }
    if (takeWords(u"current application"_s))
        return make(start, Special{Special::Kind::currentApplication});
    return nullptr;
}

bool Parser::atInsertionPoint() const {
    const QString &word = peek().key;
    if (word == u"beginning" || word == u"end" || word == u"before" || word == u"after" || word == u"behind")
        return true;
    if (word == u"in")
        return atWord(u"front", 1) || atWord(u"back", 1);
    return (word == u"front" || word == u"back") && (atWord(u"of", 1) || atWord(u"in", 1));
}

// my X, its X
ExpressionPtr Parser::parseOwner() {
    const auto start = peek().range.start;
    const auto kind = next().key == u"my" ? Special::Kind::me : Special::Kind::it;
    auto owner = make(start, Special{kind});
    auto part = parseHead();
    const auto whole = from(start);
    part = attach(std::move(part), std::move(owner));
    part->range = whole;
    return part;
}

const Term &Parser::expectClass(bool &plural) {
    skipThe();
    const auto match = termAt();
    if (!match.term || match.term->kind != Term::Kind::elementClass)
        failExpecting(u"class name"_s);
    m_at += match.length;
    plural = match.term->plural;
    return *match.term;
}

// first C, last C, some C, middle C, 3rd C
ExpressionPtr Parser::parseOrdinal() {
    const auto start = peek().range.start;
    const Token &token = next();
    Element element;
    if (token.kind == Token::Kind::ordinal || ordinal(token.key)) {
        const qint64 index = token.kind == Token::Kind::ordinal ? qint64(token.number) : *ordinal(token.key);
        element.form = Specifier::Form::index;
        element.key = literal(start, index);
    } else {
        element.form = token.key == u"some" ? Specifier::Form::some : Specifier::Form::middle;
    }
    bool plural = false;
    if (peek().kind == Token::Kind::chevron)
        element.className = next().key;
    else
        element.className = expectClass(plural).name;
    auto made = make(start, std::move(element));
    parseFilter(made);
    return made;
}

// every C, every C whose T, every C from A to B
ExpressionPtr Parser::parseEvery() {
    const auto start = next().range.start;
    if (const auto match = termAt(); match.term && match.term->kind == Term::Kind::property) {
        m_at += match.length; // every `menu` like property: all of it
        return make(start, Property{Name(match.term->name), true, nullptr});
    }
    bool plural = false;
    Element element;
    element.className = expectClass(plural).name;
    return parseElementForm(std::move(element), start, true, true);
}

// beginning of L, end of L, before X, after X, in front of X, in back of X, behind X
ExpressionPtr Parser::parseInsertionPoint() {
    const auto start = peek().range.start;
    const bool inward = takeWord(u"in");
    const QString word = next().key;
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
        expectWord(u"of");
    if (point.form == ahead || point.form == behind)
        point.container = parseReference();
    return make(start, std::move(point));
}

ExpressionPtr Parser::parseTerm(Dictionary::Match match) {
    const auto start = peek().range.start;
    const Term &term = *match.term;
    if (term.kind == Term::Kind::command)
        return parseCommand(*term.command, match.length);
    m_at += match.length;
    if (term.kind == Term::Kind::elementClass)
        return parseElement(term, false);
    if (term.kind == Term::Kind::property) {
        // The spelling matters when it turns out to be a variable.
        return make(start, Property{Name(term.name.toLower(), term.name), true, nullptr});
    }
    return literal(start, Constant{term.name});
}

ExpressionPtr Parser::parseElement(const Term &term, bool everyWritten) {
    Element element;
    element.className = term.name;
    return parseElementForm(std::move(element), m_tokens[m_at - 1].range.start, term.plural, everyWritten);
}

// What follows a class: an index, a name, an id, a range, a test, or nothing.
ExpressionPtr Parser::parseElementForm(Element element, qsizetype start, bool plural, bool everyWritten) {
    using enum Specifier::Form;
    const bool dateText = element.className == u"date";
    if (atWord(u"id") && (atWord(u"id", 1) || peek(1).kind != Token::Kind::word || !isKeyword(peek(1).key)) &&
        !everyWritten) {
        ++m_at;
        element.form = byId;
        element.key = parseKey();
    } else if (atWord(u"named") && !everyWritten) {
        ++m_at;
        element.form = named;
        element.key = parseKey();
    } else if (takeWord(u"from")) {
        element.form = range;
        element.key = parseReference();
        expectWord(u"to");
        element.last = parseReference();
    } else if (!dateText && !everyWritten && (atWord(u"before") || atWord(u"after"))) {
        element.form = next().key == u"before" ? before : after;
        element.key = parseReference();
    } else if (atKey() && !everyWritten) {
        if (atWord(u"index"))
            ++m_at;
        element.form = index; // or named: decided by what the key turns out to be
        element.key = parseKey();
        if (takeWord(u"thru") || takeWord(u"through")) {
            element.form = range;
            element.last = parseKey();
        }
    } else if (!plural && !everyWritten && !atWord(u"whose") && !atWord(u"where")) {
        return literal(start, ClassName{element.className});
    }
    auto made = make(start, std::move(element));
    parseFilter(made);
    return made;
}

// `whose`, for what can be more than one thing.
void Parser::parseFilter(ExpressionPtr &expression) {
    auto *element = expression->as<Element>();
    if (!element || element->test || !(atWord(u"whose") || atWord(u"where") || atWord(u"that")))
        return;
    using enum Specifier::Form;
    const auto *key = element->key ? element->key->as<Literal>() : nullptr;
    const bool ordinalIndex = element->form == index && key && key->value.is<qint64>();
    if (element->form != every && element->form != middle && element->form != some && !ordinalIndex)
        return;
    ++m_at;
    const Within context(*this, {});
    element->test = parseExpression();
    expression->range.end = element->test->range.end;
}

// Whether an index or name can start here: what follows a class must not be an operator or the next parameter.
bool Parser::atKey() const {
    const Token &token = peek();
    switch (token.kind) {
    case Token::Kind::text:
    case Token::Kind::integer:
    case Token::Kind::real:
    case Token::Kind::name:
        return true;
    case Token::Kind::symbol:
        return token.key == u"(" || (token.key == u"-" && peek(1).kind == Token::Kind::integer);
    case Token::Kind::word:
        break;
    default:
        return false;
    }
    if (token.key == u"index")
        return peek(1).kind != Token::Kind::endOfLine && !isKeyword(peek(1).key);
    if (token.key == u"my")
        return true;
    return !isKeyword(token.key) && !comparison() && token.key != u"exists" && !termAt().term &&
           token.key != u"default" && token.key != u"buttons" && token.key != u"giving" && token.key != u"using";
}

// An index, name or id: binds more closely than `of`.
ExpressionPtr Parser::parseKey() {
    const auto start = peek().range.start;
    if (takeSymbol(u"-")) {
        auto operand = parseHead();
        return make(start, Negation{std::move(operand), true});
    }
    const Within context(*this, Context{m_context.stopsAtAs, m_context.stopsAtIn, nullptr});
    return parseHead();
}

ExpressionPtr Parser::parseParenthesized() {
    const auto start = next().range.start;
    const Within context(*this, {});
    auto inner = parseExpression();
    expectSymbol(u")");
    return make(start, Parenthesized{std::move(inner)});
}

bool Parser::atLabel() const {
    if (peek().kind == Token::Kind::name)
        return atSymbol(u":", 1);
    if (peek().kind != Token::Kind::word)
        return false;
    const auto match = termAt();
    if (match.term && atSymbol(u":", match.length))
        return true;
    std::size_t words = 1; // a label of several words that no dictionary in scope knows
    while (words < 4 && peek(words).kind == Token::Kind::word && !isKeyword(peek(words).key))
        ++words;
    return !isKeyword(peek().key) && atSymbol(u":", words);
}

// A record's label: an identifier, or a term of any number of words.
Name Parser::parseLabel() {
    const auto match = peek().kind == Token::Kind::word ? termAt() : Dictionary::Match{};
    if (match.term && atSymbol(u":", match.length)) {
        m_at += match.length;
        return Name(match.term->name);
    }
    if (peek().kind != Token::Kind::word && peek().kind != Token::Kind::name)
        failExpecting(u"identifier"_s);
    const Token &first = next();
    Name name = nameOf(first);
    while (first.kind == Token::Kind::word && peek().kind == Token::Kind::word && !isKeyword(peek().key)) {
        const Name more = nameOf(next());
        name = Name(name.key + u' ' + more.key, name.spelling + u' ' + more.spelling);
    }
    return name;
}

// «class utf8», «constant ****yes », «property xxxx»; what has a name here gets it.
ExpressionPtr Parser::parseChevron() {
    const Token &token = next();
    const auto start = token.range.start;
    if (token.key.startsWith(u"class ")) {
        const QString code = token.key.sliced(6);
        static constexpr std::pair<QStringView, QStringView> known[] = {
            {u"utf8", u"text"},       {u"utxt", u"text"},     {u"ctxt", u"text"},    {u"TEXT", u"text"},
            {u"furl", u"POSIX file"}, {u"isot", u"ISO date"}, {u"long", u"integer"}, {u"doub", u"real"},
            {u"list", u"list"},       {u"reco", u"record"},   {u"bool", u"boolean"}};
        for (const auto &[written, meaning] : known) {
            if (code == written)
                return literal(start, ClassName{meaning.toString()});
        }
        return literal(start, ClassName{u"«"_s + token.key + u"»"_s});
    }
    return literal(start, RawCode{token.key});
}

} // namespace ombru::applescript
