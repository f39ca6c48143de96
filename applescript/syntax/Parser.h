// From a script's text to its syntax tree: recursive descent over the tokens, with the dictionaries in scope deciding
// what words mean. Every `tell` to an application that is named literally brings its dictionary into scope.
//
// Statements are in Parser.cpp and ParserBlocks.cpp, definitions in ParserDefinitions.cpp, operators in
// ParserOperators.cpp, references in ParserReferences.cpp, commands and calls in ParserCommands.cpp.
//
// Pure, any thread. Nested too deeply for the stack is a syntax error.
#pragma once
#include "applescript/syntax/Ast.h"
#include "applescript/syntax/Dictionary.h"
#include "applescript/syntax/Lexer.h"

#include <QSet>

namespace ombru::applescript {

class Parser {
public:
    Parser(const QString &script, const Vocabulary &vocabulary);

    // Throws SyntaxError.
    std::shared_ptr<const ScriptDefinition> parse();

private:
    // What changes how an expression is read where it stands. Parentheses and braces start afresh, except for
    // constants, which hold inside lists too.
    struct Context {
        bool stopsAtAs = false; // `as` is a parameter of the command being read
        bool stopsAtIn = false; // so is `in`
        const QStringList *constants = nullptr;
    };
    class Within;

    // Tokens
    const Token &peek(std::size_t offset = 0) const;
    std::span<const Token> rest(std::size_t offset = 0) const;
    bool atWord(QStringView word, std::size_t offset = 0) const { return peek(offset).isWord(word); }
    bool atSymbol(QStringView symbol, std::size_t offset = 0) const { return peek(offset).isSymbol(symbol); }
    bool atEndOfStatement() const;
    const Token &next() { return m_tokens[m_at++]; }
    bool takeWord(QStringView word);
    bool takeSymbol(QStringView symbol);
    bool takeWords(const QString &words);
    void skipThe();
    void skipLineEnds();
    void expectWord(QStringView word);
    void expectSymbol(QStringView symbol);
    void expectEndOfLine();
    [[noreturn]] void failExpecting(const QString &expected) const;
    void checkDepth() const;
    [[noreturn]] void failTooDeep() const;
    QString describe(std::size_t offset = 0) const;
    Range from(qsizetype start) const { return {start, m_at == 0 ? start : m_tokens[m_at - 1].range.end}; }
    Dictionary::Match termAt(std::size_t offset = 0) const {
        return longestTerm(m_scope, m_vocabulary.always(), rest(offset));
    }
    QString written(const Token &token) const;
    Name nameOf(const Token &token) const;

    // Statements
    Block parseBlock(bool topLevel);
    bool atBlockEnd(bool topLevel) const;
    Statement parseStatement();
    std::optional<Statement> parseKeywordStatement(qsizetype start);
    Statement statement(qsizetype start, decltype(Statement::form) form) const;
    Statement parseSet(qsizetype start, bool puts);
    Statement parseCopy(qsizetype start);
    Statement parseReturn(qsizetype start);
    Statement parseError(qsizetype start);
    Statement parseExit(qsizetype start);
    Statement parseDeclaration(qsizetype start, bool global);
    Statement parseTell(qsizetype start);
    Statement parseIf(qsizetype start);
    bool parseElse(If &statement);
    Statement parseRepeat(qsizetype start);
    void parseRepeatWith(Repeat &loop);
    Statement parseTry(qsizetype start);
    void parseOnError(Try &statement);
    Statement parseConsidering(qsizetype start, bool considering);
    Attributes parseAttributes();
    Statement parseTimeout(qsizetype start);
    Statement parseTransaction(qsizetype start);
    Statement parseUsingTerms(qsizetype start);
    Statement parseUse(qsizetype start);
    Statement parseContinue(qsizetype start);
    void expectEnd(QStringView word);
    ExpressionPtr parseVariable();
    ExpressionPtr parsePattern();
    Scope scopeOf(const Expression &target) const;
    Scope scopeOfApplication(const Element &application) const;

    // Definitions
    void parseScriptBody(ScriptDefinition &script, bool topLevel);
    void parseDefinitionOrStatement(ScriptDefinition &script, bool topLevel);
    Statement parsePropertyDeclaration(qsizetype start);
    Statement parseScript(qsizetype start);
    std::shared_ptr<const HandlerDefinition> parseHandler();
    void parsePositional(HandlerDefinition &handler);
    void parseInterleaved(HandlerDefinition &handler);
    void parseLabeled(HandlerDefinition &handler);
    void parseGiven(HandlerDefinition &handler);
    HandlerDefinition::Parameter parseParameter(const QString &label);
    void collectLabeledHandlers();

    // Operators, loosest first
    ExpressionPtr parseExpression();
    ExpressionPtr parseAnd();
    ExpressionPtr parseNot();
    ExpressionPtr parseEquality();
    ExpressionPtr parseRelation();
    ExpressionPtr parseCoercion();
    ExpressionPtr parseType();
    ExpressionPtr parseChain(int level, ExpressionPtr first = {});
    ExpressionPtr parsePower(ExpressionPtr first = {});
    ExpressionPtr parseSign();
    std::optional<Operator> chainOperator(int level) const;
    struct Comparison {
        Operator operation;
        std::size_t length;
    };
    std::optional<Comparison> comparison() const;
    ExpressionPtr parseIsRunning(ExpressionPtr subject, Operator operation, std::size_t length);

    // References
    ExpressionPtr parseReference();
    ExpressionPtr parseHead();
    ExpressionPtr parseWordHead();
    ExpressionPtr parseSpecialWord();
    ExpressionPtr parseConstantWord(bool unclaimed);
    ExpressionPtr parseAlwaysThere();
    bool atInsertionPoint() const;
    ExpressionPtr parseOwner();
    ExpressionPtr parseOrdinal();
    ExpressionPtr parseEvery();
    ExpressionPtr parseElement(const Term &term, bool everyWritten);
    ExpressionPtr parseElementForm(Element element, qsizetype start, bool plural, bool everyWritten);
    ExpressionPtr parseInsertionPoint();
    ExpressionPtr parseTerm(Dictionary::Match match);
    ExpressionPtr parseParenthesized();
    ExpressionPtr parseBraces();
    ExpressionPtr parseRecord(qsizetype start);
    Name parseLabel();
    bool atLabel() const;
    bool atKey() const;
    ExpressionPtr parseKey();
    ExpressionPtr parseChevron();
    ExpressionPtr parseContextConstant();
    void parseFilter(ExpressionPtr &expression);
    ExpressionPtr attach(ExpressionPtr part, ExpressionPtr container);
    const Term &expectClass(bool &plural);

    // Commands and calls
    ExpressionPtr parseCommand(const CommandTerm &command, std::size_t length);
    void parseDirect(Command &command, const CommandTerm &term);
    void parseParameters(Command &command, const CommandTerm &term);
    bool parseParameter(Command &command, const CommandTerm &term);
    bool parseFlags(Command &command, const CommandTerm &term);
    bool atParameter(const CommandTerm &term) const;
    bool canStartExpression() const;
    ExpressionPtr parseOffset(qsizetype start);
    ExpressionPtr parseCall(Name name, qsizetype start);
    ExpressionPtr parseInterleavedCall(Name name, qsizetype start);
    ExpressionPtr parseLabeledCall(Name name, qsizetype start);
    void parseGivenArguments(Call &call);
    void addArgument(Call &call, QString label, ExpressionPtr value);

    ExpressionPtr make(qsizetype start, decltype(Expression::form) form) const;
    ExpressionPtr literal(qsizetype start, Value value) const;

    QString m_text;
    const Vocabulary &m_vocabulary;
    std::vector<Token> m_tokens;
    std::size_t m_at = 0;
    Scope m_scope;
    Context m_context;
    QSet<QString> m_labeledHandlers;
};

// For the time of one reading: another context.
class Parser::Within {
public:
    Within(Parser &parser, Context context) : m_parser(parser), m_before(parser.m_context) {
        parser.m_context = context;
    }
    ~Within() { m_parser.m_context = m_before; }
    Within(const Within &) = delete;
    Within &operator=(const Within &) = delete;

private:
    Parser &m_parser;
    Context m_before;
};

// Keywords: never a variable's name unless in bars.
bool isKeyword(const QString &word);

// Whether a word can lead a labeled parameter: about, above, from, into ...
bool isPreposition(const QString &word);

} // namespace ombru::applescript
