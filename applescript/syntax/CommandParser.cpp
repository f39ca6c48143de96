#include "applescript/syntax/CommandParser.h"

#include "applescript/syntax/ExpressionParser.h"
#include "applescript/syntax/Keywords.h"
#include "applescript/syntax/ReferenceParser.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

bool CommandParser::canStartExpression() const {
    const Token &token = m_in.peek();
    switch (token.kind) {
    case Token::Kind::endOfLine:
    case Token::Kind::endOfScript:
    case Token::Kind::unknown:
        return false;
    case Token::Kind::symbol:
        return token.key == u"(" || token.key == u"{" || token.key == u"-" || token.key == u"+";
    case Token::Kind::word:
        break;
    default:
        return true;
    }
    static const QSet<QString> starters = {
        u"true"_s,   u"false"_s, u"it"_s,        u"me"_s,     u"my"_s,        u"its"_s,     u"every"_s,  u"first"_s,
        u"second"_s, u"third"_s, u"fourth"_s,    u"fifth"_s,  u"sixth"_s,     u"seventh"_s, u"eighth"_s, u"ninth"_s,
        u"tenth"_s,  u"last"_s,  u"front"_s,     u"middle"_s, u"some"_s,      u"the"_s,     u"return"_s, u"not"_s,
        u"a"_s,      u"ref"_s,   u"beginning"_s, u"end"_s,    u"reference"_s, u"script"_s};
    if (isKeyword(token.key))
        return starters.contains(token.key);
    return !expressions().comparison();
}

bool CommandParser::atParameter(const CommandTerm &term) const {
    for (const auto &parameter : term.parameters) {
        if (spells(m_in.rest(), parameter.label))
            return true;
    }
    return m_in.atWord(u"with") || m_in.atWord(u"without") || m_in.atWord(u"given");
}

// command = words-of-command [direct] { parameter | flags }
ExpressionPtr CommandParser::parseCommand(const CommandTerm &term, std::size_t length) {
    const auto start = m_in.peek().range.start;
    m_in.skip(length);
    if (term.name == u"offset") {
        if (!m_in.atWord(u"of") && !m_in.atWord(u"in")) // a variable of this name
            return m_in.make(start, Variable{Name(u"offset"_s)});
        return parseOffset(start);
    }
    Command command;
    command.name = term.name;
    command.application = term.application;
    command.describes = term.describes;
    parseDirect(command, term);
    parseParameters(command, term);
    return m_in.make(start, std::move(command));
}

// direct = expression | reference, where the command binds closely; left out where a parameter follows
void CommandParser::parseDirect(Command &command, const CommandTerm &term) {
    if (term.direct == CommandTerm::Direct::none)
        return;
    if (term.direct == CommandTerm::Direct::object) {
        if (term.name == u"count" && (m_in.takeWord(u"of") || m_in.takeWord(u"each")))
            m_in.takeWord(u"each");
        if (atParameter(term) || !canStartExpression())
            return;
        const Cursor::Within context(m_in, Cursor::Context{m_in.context().stopsAtAs, false, nullptr});
        command.direct = references().parseReference();
        return;
    }
    const auto takes = [&](QStringView label) {
        return std::any_of(term.parameters.begin(), term.parameters.end(),
                           [&](const auto &parameter) { return parameter.label == label; });
    };
    const QStringList *constants = term.directConstants.isEmpty() ? nullptr : &term.directConstants;
    const Cursor::Within context(m_in,
                                 Cursor::Context{takes(u"as") || m_in.context().stopsAtAs, takes(u"in"), constants});
    if (atParameter(term) || (!canStartExpression()))
        return;
    command.direct = expressions().parseExpression();
}

// { parameter | flags }
void CommandParser::parseParameters(Command &command, const CommandTerm &term) {
    while (parseParameter(command, term) || parseFlags(command, term))
        continue;
}

// parameter = label (expression | type)
bool CommandParser::parseParameter(Command &command, const CommandTerm &term) {
    for (const auto &parameter : term.parameters) {
        const auto length = spells(m_in.rest(), parameter.label);
        if (length == 0)
            continue;
        m_in.skip(length);
        const QStringList *constants = parameter.constants.isEmpty() ? nullptr : &parameter.constants;
        const Cursor::Within context(m_in, Cursor::Context{true, false, constants});
        const bool type = parameter.label == u"as" && parameter.constants.isEmpty();
        const bool creates = command.name == u"make" && parameter.label == u"new";
        auto value = type || creates ? expressions().parseType() : expressions().parseExpression();
        command.parameters.emplace_back(parameter.label, std::move(value));
        return true;
    }
    return false;
}

// flags = (with | without) flag { (, | and) flag }, as in: with hidden answer
bool CommandParser::parseFlags(Command &command, const CommandTerm &term) {
    if ((!m_in.atWord(u"with") && !m_in.atWord(u"without")) || term.flags.isEmpty())
        return false;
    const bool value = m_in.peek().key == u"with";
    const auto start = m_in.peek().range.start;
    m_in.skip();
    do {
        m_in.takeWord(u"and");
        const auto found = std::find_if(term.flags.begin(), term.flags.end(),
                                        [this](const QString &flag) { return m_in.takeWords(flag); });
        if (found == term.flags.end())
            m_in.failExpecting(u"parameter name"_s);
        command.parameters.emplace_back(*found, m_in.literal(start, value));
    } while (m_in.takeSymbol(u",") || m_in.atWord(u"and"));
    return true;
}

// offset = offset of chain in reference, or the other way round: `in` is no container here
ExpressionPtr CommandParser::parseOffset(qsizetype start) {
    Command command;
    command.name = u"offset"_s;
    for (int i = 0; i < 2; ++i) {
        const bool of = m_in.atWord(u"of");
        if (!of && !m_in.atWord(u"in"))
            m_in.failExpecting(i == 0 ? u"“of”"_s : u"“in”"_s);
        m_in.skip();
        const Cursor::Within context(m_in, Cursor::Context{true, of, nullptr});
        command.parameters.emplace_back(of ? u"of"_s : u"in"_s,
                                        of ? expressions().parseChain(0) : references().parseReference());
    }
    return m_in.make(start, std::move(command));
}

} // namespace ombru::applescript
