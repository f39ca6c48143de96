// Commands of the dictionaries with their parameters, and calls of the script's own handlers.
#include "applescript/syntax/Parser.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

bool Parser::canStartExpression() const {
    const Token &token = peek();
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
    return !comparison();
}

bool Parser::atParameter(const CommandTerm &term) const {
    for (const auto &parameter : term.parameters) {
        if (spells(rest(), parameter.label))
            return true;
    }
    return atWord(u"with") || atWord(u"without") || atWord(u"given");
}

ExpressionPtr Parser::parseCommand(const CommandTerm &term, std::size_t length) {
    const auto start = peek().range.start;
    m_at += length;
    if (term.name == u"offset") {
        if (!atWord(u"of") && !atWord(u"in")) // a variable of this name
            return make(start, Variable{Name(u"offset"_s)});
        return parseOffset(start);
    }
    Command command;
    command.name = term.name;
    command.application = term.application;
    command.describes = term.describes;
    parseDirect(command, term);
    parseParameters(command, term);
    return make(start, std::move(command));
}

void Parser::parseDirect(Command &command, const CommandTerm &term) {
    if (term.direct == CommandTerm::Direct::none)
        return;
    if (term.direct == CommandTerm::Direct::object) {
        if (term.name == u"count" && (takeWord(u"of") || takeWord(u"each")))
            takeWord(u"each");
        if (atParameter(term) || !canStartExpression())
            return;
        const Within context(*this, Context{m_context.stopsAtAs, false, nullptr});
        command.direct = parseReference();
        return;
    }
    const auto takes = [&](QStringView label) {
        return std::any_of(term.parameters.begin(), term.parameters.end(),
                           [&](const auto &parameter) { return parameter.label == label; });
    };
    const QStringList *constants = term.directConstants.isEmpty() ? nullptr : &term.directConstants;
    const Within context(*this, Context{takes(u"as") || m_context.stopsAtAs, takes(u"in"), constants});
    if (atParameter(term) || (!canStartExpression()))
        return;
    command.direct = parseExpression();
}

void Parser::parseParameters(Command &command, const CommandTerm &term) {
    while (parseParameter(command, term) || parseFlags(command, term))
        continue;
}

bool Parser::parseParameter(Command &command, const CommandTerm &term) {
    for (const auto &parameter : term.parameters) {
        const auto length = spells(rest(), parameter.label);
        if (length == 0)
            continue;
        m_at += length;
        const QStringList *constants = parameter.constants.isEmpty() ? nullptr : &parameter.constants;
        const Within context(*this, Context{true, false, constants});
        const bool type = parameter.label == u"as" && parameter.constants.isEmpty();
        const bool creates = command.name == u"make" && parameter.label == u"new";
        auto value = type || creates ? parseType() : parseExpression();
        command.parameters.emplace_back(parameter.label, std::move(value));
        return true;
    }
    return false;
}

// with hidden answer, without altering line endings and ...
bool Parser::parseFlags(Command &command, const CommandTerm &term) {
    if ((!atWord(u"with") && !atWord(u"without")) || term.flags.isEmpty())
        return false;
    const bool value = peek().key == u"with";
    const auto start = peek().range.start;
    ++m_at;
    do {
        takeWord(u"and");
        const auto found =
            std::find_if(term.flags.begin(), term.flags.end(), [this](const QString &flag) { return takeWords(flag); });
        if (found == term.flags.end())
            failExpecting(u"parameter name"_s);
        command.parameters.emplace_back(*found, literal(start, value));
    } while (takeSymbol(u",") || atWord(u"and"));
    return true;
}

// offset of A in B: `in` is no container here.
ExpressionPtr Parser::parseOffset(qsizetype start) {
    Command command;
    command.name = u"offset"_s;
    for (int i = 0; i < 2; ++i) {
        const bool of = atWord(u"of");
        if (!of && !atWord(u"in"))
            failExpecting(i == 0 ? u"“of”"_s : u"“in”"_s);
        ++m_at;
        const Within context(*this, Context{true, of, nullptr});
        command.parameters.emplace_back(of ? u"of"_s : u"in"_s, of ? parseChain(0) : parseReference());
    }
    return make(start, std::move(command));
}

// ---- Calls

void Parser::addArgument(Call &call, QString label, ExpressionPtr value) {
    call.labels.push_back(std::move(label));
    call.arguments.push_back(std::move(value));
}

ExpressionPtr Parser::parseCall(Name name, qsizetype start) {
    ++m_at;
    Call call;
    call.name = std::move(name);
    {
        const Within context(*this, {});
        while (!atSymbol(u")")) {
            call.arguments.push_back(parseExpression());
            if (!takeSymbol(u","))
                break;
        }
        expectSymbol(u")");
    }
    return make(start, std::move(call));
}

// move:1 toPlace:2
ExpressionPtr Parser::parseInterleavedCall(Name name, qsizetype start) {
    Call call;
    QString full = name.spelling + u':';
    ++m_at;
    call.arguments.push_back(parseChain(0));
    while (peek().kind == Token::Kind::word && atSymbol(u":", 1)) {
        full += written(next()) + u':';
        ++m_at;
        call.arguments.push_back(parseChain(0));
    }
    call.name = Name(full);
    return make(start, std::move(call));
}

// f of 1 above 2 from 3 given title:"x" with loud
ExpressionPtr Parser::parseLabeledCall(Name name, qsizetype start) {
    Call call;
    call.name = std::move(name);
    if (takeWord(u"of") || takeWord(u"in"))
        addArgument(call, u"of"_s, parseChain(0));
    while (peek().kind == Token::Kind::word) {
        if (isPreposition(peek().key)) {
            QString label = next().key;
            addArgument(call, label == u"through" ? u"thru"_s : std::move(label), parseChain(0));
            takeSymbol(u",");
        } else if (atWord(u"given") || atWord(u"with") || atWord(u"without")) {
            parseGivenArguments(call);
        } else {
            break;
        }
    }
    return make(start, std::move(call));
}

void Parser::parseGivenArguments(Call &call) {
    const auto start = peek().range.start;
    const QString word = next().key;
    do {
        takeWord(u"and");
        QString label = parseLabel().key;
        if (word == u"given") {
            expectSymbol(u":");
            addArgument(call, std::move(label), parseExpression());
        } else {
            addArgument(call, std::move(label), literal(start, word == u"with"));
        }
    } while (takeSymbol(u",") || atWord(u"and"));
}

} // namespace ombru::applescript
