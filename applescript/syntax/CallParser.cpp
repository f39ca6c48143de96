#include "applescript/syntax/CallParser.h"

#include "applescript/syntax/ExpressionParser.h"
#include "applescript/syntax/Keywords.h"
#include "applescript/syntax/OperandParser.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

void CallParser::addArgument(Call &call, QString label, ExpressionPtr value) {
    call.labels.push_back(std::move(label));
    call.arguments.push_back(std::move(value));
}

// call = name ( [expression { , expression }] )
ExpressionPtr CallParser::parseCall(Name name, qsizetype start) {
    m_in.skip();
    Call call;
    call.name = std::move(name);
    {
        const Cursor::Within context(m_in, {});
        while (!m_in.atSymbol(u")")) {
            call.arguments.push_back(expressions().parseExpression());
            if (!m_in.takeSymbol(u","))
                break;
        }
        m_in.expectSymbol(u")");
    }
    return m_in.make(start, std::move(call));
}

// interleaved-call = name : chain { word : chain }, as in: move:1 toPlace:2
ExpressionPtr CallParser::parseInterleavedCall(Name name, qsizetype start) {
    Call call;
    QString full = name.spelling + u':';
    m_in.skip();
    call.arguments.push_back(expressions().parseChain(0));
    while (m_in.peek().kind == Token::Kind::word && m_in.atSymbol(u":", 1)) {
        full += m_in.written(m_in.next()) + u':';
        m_in.skip();
        call.arguments.push_back(expressions().parseChain(0));
    }
    call.name = Name(full);
    return m_in.make(start, std::move(call));
}

// labeled-call = name [of chain] { preposition chain [,] } { given-arguments }
ExpressionPtr CallParser::parseLabeledCall(Name name, qsizetype start) {
    Call call;
    call.name = std::move(name);
    if (m_in.takeWord(u"of") || m_in.takeWord(u"in"))
        addArgument(call, u"of"_s, expressions().parseChain(0));
    while (m_in.peek().kind == Token::Kind::word) {
        if (isPreposition(m_in.peek().key)) {
            QString label = m_in.next().key;
            addArgument(call, label == u"through" ? u"thru"_s : std::move(label), expressions().parseChain(0));
            m_in.takeSymbol(u",");
        } else if (m_in.atWord(u"given") || m_in.atWord(u"with") || m_in.atWord(u"without")) {
            parseGivenArguments(call);
        } else {
            break;
        }
    }
    return m_in.make(start, std::move(call));
}

// given-arguments = given label : expression { , label : expression } | (with | without) label { (, | and) label }
void CallParser::parseGivenArguments(Call &call) {
    const auto start = m_in.peek().range.start;
    const QString word = m_in.next().key;
    do {
        m_in.takeWord(u"and");
        QString label = operands().parseLabel().key;
        if (word == u"given") {
            m_in.expectSymbol(u":");
            addArgument(call, std::move(label), expressions().parseExpression());
        } else {
            addArgument(call, std::move(label), m_in.literal(start, word == u"with"));
        }
    } while (m_in.takeSymbol(u",") || m_in.atWord(u"and"));
}

} // namespace ombru::applescript
