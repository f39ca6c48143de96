#include "applescript/syntax/OperandParser.h"

#include "applescript/syntax/CallParser.h"
#include "applescript/syntax/CommandParser.h"
#include "applescript/syntax/DefinitionParser.h"
#include "applescript/syntax/ExpressionParser.h"
#include "applescript/syntax/Keywords.h"
#include "applescript/syntax/ReferenceParser.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

// head = [the] (text | number | «chevron» | ordinal | word-head | |name| [call] | (expression) | braces)
ExpressionPtr OperandParser::parseHead() {
    m_in.checkDepth();
    m_in.skipThe();
    const Token &token = m_in.peek();
    const auto start = token.range.start;
    if (auto constant = parseContextConstant())
        return constant;
    switch (token.kind) {
    case Token::Kind::text:
        m_in.skip();
        return m_in.literal(start, token.key);
    case Token::Kind::integer:
        m_in.skip();
        return m_in.literal(start, qint64(token.number));
    case Token::Kind::real:
        m_in.skip();
        return m_in.literal(start, token.number);
    case Token::Kind::chevron:
        return parseChevron();
    case Token::Kind::ordinal:
        return references().parseOrdinal();
    case Token::Kind::word:
        return parseWordHead();
    case Token::Kind::name: {
        m_in.skip();
        const Name name = m_in.nameOf(token);
        return m_in.atSymbol(u"(") ? calls().parseCall(name, start) : m_in.make(start, Variable{name});
    }
    default:
        break;
    }
    if (m_in.atSymbol(u"("))
        return parseParenthesized();
    if (m_in.atSymbol(u"{"))
        return parseBraces();
    m_in.failExpecting(u"expression"_s);
}

// A word that is a constant only in the parameter being read: with icon note.
ExpressionPtr OperandParser::parseContextConstant() {
    if (!m_in.context().constants || m_in.peek().kind != Token::Kind::word)
        return nullptr;
    const auto start = m_in.peek().range.start;
    const QString *longest = nullptr;
    std::size_t length = 0;
    for (const auto &constant : *m_in.context().constants) {
        if (const auto found = spells(m_in.rest(), constant); found > length) {
            longest = &constant;
            length = found;
        }
    }
    if (!longest)
        return nullptr;
    m_in.skip(length);
    return m_in.literal(start, Constant{*longest});
}

// word-head = special-word | term | name [call | interleaved-call | labeled-call]
ExpressionPtr OperandParser::parseWordHead() {
    const auto start = m_in.peek().range.start;
    if (auto special = parseSpecialWord())
        return special;
    const auto match = m_in.termAt();
    if (match.term && !(match.length == 1 && m_in.atSymbol(u":", 1) && !m_in.atSymbol(u"{", 2)))
        return parseTerm(match);
    if (!match.term && isKeyword(m_in.peek().key))
        m_in.failExpecting(u"expression"_s);
    const Name name = m_in.nameOf(m_in.next());
    if (definitions().takesLabels(name.key) && !m_in.atSymbol(u"("))
        return calls().parseLabeledCall(name, start);
    if (m_in.atSymbol(u"("))
        return calls().parseCall(name, start);
    if (m_in.atSymbol(u":"))
        return calls().parseInterleavedCall(name, start);
    return m_in.make(start, Variable{name});
}

// special-word = constant | it | me ... | owner | number of reference | [a] (reference | ref) to reference
//              | every | insertion-point | ordinal; nothing when the word is none of these
ExpressionPtr OperandParser::parseSpecialWord() {
    const auto start = m_in.peek().range.start;
    const QString &word = m_in.peek().key;
    const auto match = m_in.termAt();
    if (auto value = parseConstantWord(!match.term || (match.term->kind == Term::Kind::property && match.length == 1)))
        return value;
    if (auto special = parseAlwaysThere())
        return special;
    if (word == u"my" || word == u"its")
        return references().parseOwner();
    if (spells(m_in.rest(), u"number of"_s)) {
        m_in.skip(2);
        return m_in.make(start, Command{u"count"_s, references().parseReference(), {}});
    }
    for (const auto &words : {u"a reference to"_s, u"a ref to"_s, u"reference to"_s, u"ref to"_s, u"a ref"_s}) {
        if (m_in.takeWords(words)) {
            auto target = references().parseReference();
            return m_in.make(start, ReferenceTo{std::move(target)});
        }
    }
    if (word == u"every")
        return references().parseEvery();
    if (references().atInsertionPoint())
        return references().parseInsertionPoint();
    if (!match.term && (ordinalNumber(word) || word == u"some" || word == u"middle"))
        return references().parseOrdinal();
    return nullptr;
}

// true, return, and the words that mean a text or number unless the dictionary knows them as something else.
ExpressionPtr OperandParser::parseConstantWord(bool unclaimed) {
    static const QHash<QString, Value> always = {
        {u"true"_s, Value(true)}, {u"false"_s, Value(false)}, {u"return"_s, Value(u"\r"_s)}};
    static const QHash<QString, Value> otherwise = {{u"tab"_s, Value(u"\t"_s)},
                                                    {u"space"_s, Value(u" "_s)},
                                                    {u"linefeed"_s, Value(u"\n"_s)},
                                                    {u"quote"_s, Value(u"\""_s)},
                                                    {u"pi"_s, Value(3.141592653589793)}};
    const auto start = m_in.peek().range.start;
    const QString &word = m_in.peek().key;
    Value value = always.value(word);
    if (value.isNothing() && unclaimed)
        value = otherwise.value(word);
    if (value.isNothing())
        return nullptr;
    m_in.skip();
    return m_in.literal(start, std::move(value));
}

// always-there = it | me | result | AppleScript | current application
ExpressionPtr OperandParser::parseAlwaysThere() {
    static const QHash<QString, Special::Kind> kinds = {{u"it"_s, Special::Kind::it},
                                                        {u"me"_s, Special::Kind::me},
                                                        {u"result"_s, Special::Kind::result},
                                                        {u"applescript"_s, Special::Kind::appleScript}};
    const auto start = m_in.peek().range.start;
    if (const auto kind = kinds.constFind(m_in.peek().key); kind != kinds.constEnd()) {
        m_in.skip();
        return m_in.make(start, Special{*kind});
    }
    if (m_in.takeWords(u"current application"_s))
        return m_in.make(start, Special{Special::Kind::currentApplication});
    return nullptr;
}

// term = command | element | property | constant
ExpressionPtr OperandParser::parseTerm(Dictionary::Match match) {
    const auto start = m_in.peek().range.start;
    const Term &term = *match.term;
    if (term.kind == Term::Kind::command)
        return commands().parseCommand(*term.command, match.length);
    m_in.skip(match.length);
    if (term.kind == Term::Kind::elementClass)
        return references().parseElement(term, false);
    if (term.kind == Term::Kind::property) {
        // The spelling matters when it turns out to be a variable.
        return m_in.make(start, Property{Name(term.name.toLower(), term.name), true, nullptr});
    }
    return m_in.literal(start, Constant{term.name});
}

// ( expression )
ExpressionPtr OperandParser::parseParenthesized() {
    const auto start = m_in.next().range.start;
    const Cursor::Within context(m_in, {});
    auto inner = expressions().parseExpression();
    m_in.expectSymbol(u")");
    return m_in.make(start, Parenthesized{std::move(inner)});
}

// braces = { [expression { , expression }] } | { record }
ExpressionPtr OperandParser::parseBraces() {
    const auto start = m_in.next().range.start;
    const Cursor::Within context(m_in, Cursor::Context{false, false, m_in.context().constants});
    if (atLabel())
        return parseRecord(start);
    ListExpression list;
    while (!m_in.atSymbol(u"}")) {
        list.items.push_back(expressions().parseExpression());
        if (!m_in.takeSymbol(u","))
            break;
    }
    m_in.expectSymbol(u"}");
    return m_in.make(start, std::move(list));
}

// record = label : expression { , label : expression }
ExpressionPtr OperandParser::parseRecord(qsizetype start) {
    RecordExpression record;
    do {
        Name label = parseLabel();
        m_in.expectSymbol(u":");
        record.fields.emplace_back(std::move(label), expressions().parseExpression());
    } while (m_in.takeSymbol(u","));
    m_in.expectSymbol(u"}");
    return m_in.make(start, std::move(record));
}

bool OperandParser::atLabel() const {
    if (m_in.peek().kind == Token::Kind::name)
        return m_in.atSymbol(u":", 1);
    if (m_in.peek().kind != Token::Kind::word)
        return false;
    const auto match = m_in.termAt();
    if (match.term && m_in.atSymbol(u":", match.length))
        return true;
    std::size_t words = 1; // a label of several words that no dictionary in scope knows
    while (words < 4 && m_in.peek(words).kind == Token::Kind::word && !isKeyword(m_in.peek(words).key))
        ++words;
    return !isKeyword(m_in.peek().key) && m_in.atSymbol(u":", words);
}

// label = identifier { identifier } | a term of any number of words
Name OperandParser::parseLabel() {
    const auto match = m_in.peek().kind == Token::Kind::word ? m_in.termAt() : Dictionary::Match{};
    if (match.term && m_in.atSymbol(u":", match.length)) {
        m_in.skip(match.length);
        return Name(match.term->name);
    }
    if (m_in.peek().kind != Token::Kind::word && m_in.peek().kind != Token::Kind::name)
        m_in.failExpecting(u"identifier"_s);
    const Token &first = m_in.next();
    Name name = m_in.nameOf(first);
    while (first.kind == Token::Kind::word && m_in.peek().kind == Token::Kind::word && !isKeyword(m_in.peek().key)) {
        const Name more = m_in.nameOf(m_in.next());
        name = Name(name.key + u' ' + more.key, name.spelling + u' ' + more.spelling);
    }
    return name;
}

// chevron = «class utf8», «constant ****yes », «property xxxx»; what has a name here gets it
ExpressionPtr OperandParser::parseChevron() {
    const Token &token = m_in.next();
    const auto start = token.range.start;
    if (token.key.startsWith(u"class ")) {
        const QString code = token.key.sliced(6);
        static constexpr std::pair<QStringView, QStringView> known[] = {
            {u"utf8", u"text"},       {u"utxt", u"text"},     {u"ctxt", u"text"},    {u"TEXT", u"text"},
            {u"furl", u"POSIX file"}, {u"isot", u"ISO date"}, {u"long", u"integer"}, {u"doub", u"real"},
            {u"list", u"list"},       {u"reco", u"record"},   {u"bool", u"boolean"}};
        for (const auto &[written, meaning] : known) {
            if (code == written)
                return m_in.literal(start, ClassName{meaning.toString()});
        }
        return m_in.literal(start, ClassName{u"«"_s + token.key + u"»"_s});
    }
    return m_in.literal(start, RawCode{token.key});
}

} // namespace ombru::applescript
