// The tokens of a script as the parser walks over them: what is next, what is taken, what was expected instead; and
// what words mean here, by the dictionaries in scope.
//
// Lives as long as the parser. Throws SyntaxError.
#pragma once
#include "applescript/syntax/Ast.h"
#include "applescript/syntax/Dictionary.h"
#include "applescript/syntax/Lexer.h"

namespace ombru::applescript {

class Cursor {
public:
    // What changes how an expression is read where it stands. Parentheses and braces start afresh, except for
    // constants, which hold inside lists too.
    struct Context {
        bool stopsAtAs = false; // `as` is a parameter of the command being read
        bool stopsAtIn = false; // so is `in`
        const QStringList *constants = nullptr;
    };
    // For the time of one reading: another context.
    class Within {
    public:
        Within(Cursor &cursor, Context context)
            : m_cursor(cursor), m_before(std::exchange(cursor.m_context, context)) {}
        ~Within() { m_cursor.m_context = m_before; }
        Within(const Within &) = delete;
        Within &operator=(const Within &) = delete;

    private:
        Cursor &m_cursor;
        Context m_before;
    };

    Cursor(const QString &script, const Vocabulary &vocabulary);

    const Token &peek(std::size_t offset = 0) const;
    std::span<const Token> rest(std::size_t offset = 0) const;
    const Token &last() const { return m_tokens[m_at - 1]; }
    const std::vector<Token> &tokens() const { return m_tokens; }
    bool atWord(QStringView word, std::size_t offset = 0) const { return peek(offset).isWord(word); }
    bool atSymbol(QStringView symbol, std::size_t offset = 0) const { return peek(offset).isSymbol(symbol); }
    bool atEndOfStatement() const;

    const Token &next() { return m_tokens[m_at++]; }
    void skip(std::size_t count = 1) { m_at += count; }
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

    const Context &context() const { return m_context; }
    void startAfresh() { m_context = {}; }
    const Vocabulary &vocabulary() const { return m_vocabulary; }
    const Scope &scope() const { return m_scope; }
    Scope exchangeScope(Scope scope) { return std::exchange(m_scope, std::move(scope)); } // gives back what it was
    Dictionary::Match termAt(std::size_t offset = 0) const {
        return longestTerm(m_scope, m_vocabulary.always(), rest(offset));
    }

    Range from(qsizetype start) const { return {start, m_at == 0 ? start : last().range.end}; }
    Name nameOf(const Token &token) const;
    QString written(const Token &token) const;
    ExpressionPtr make(qsizetype start, decltype(Expression::form) form) const;
    ExpressionPtr literal(qsizetype start, Value value) const;

private:
    QString describe() const; // what is next, for messages
    QString describeTerm() const;

    QString m_text;
    const Vocabulary &m_vocabulary;
    std::vector<Token> m_tokens;
    std::size_t m_at = 0;
    Scope m_scope;
    Context m_context;
};

} // namespace ombru::applescript
