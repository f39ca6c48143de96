#include "applescript/syntax/Lexer.h"

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

class Lexer {
public:
    explicit Lexer(const QString &script) : m_text(script) {}
    std::vector<Token> run();

private:
    QChar at(qsizetype offset = 0) const { return m_at + offset < m_text.size() ? m_text[m_at + offset] : QChar(); }
    bool isLineEnd() const { return at() == u'\n' || at() == u'\r'; }
    void add(Token::Kind kind, qsizetype start, QString key = {}, double number = 0);
    void skipBlockComment();
    void skipLineComment();
    bool skipBlank();
    void continueLine();
    void readLineEnd();
    void readWord();
    void readContraction(QString &key);
    void readName();
    void readText();
    void readNumber();
    bool readChevron();
    void readSymbol();
    bool readDashedPreposition(const QString &key);

    QString m_text;
    qsizetype m_at = 0;
    std::vector<Token> m_tokens;
};

bool startsWord(QChar character) {
    return character.isLetter() || character == u'_' || character.isHighSurrogate();
}

bool continuesWord(QChar character) {
    return character.isLetterOrNumber() || character == u'_' || character.isMark() || character.isSurrogate();
}

bool isApostrophe(QChar character) {
    return character == u'\'' || character == u'’';
}

std::vector<Token> Lexer::run() {
    while (m_at < m_text.size()) {
        const QChar next = at();
        if (skipBlank())
            continue;
        if (isLineEnd())
            readLineEnd();
        else if (startsWord(next))
            readWord();
        else if (next.isDigit())
            readNumber();
        else if (next == u'"')
            readText();
        else if (next == u'|')
            readName();
        else if (!readChevron())
            readSymbol();
    }
    add(Token::Kind::endOfScript, m_at);
    return std::move(m_tokens);
}

void Lexer::add(Token::Kind kind, qsizetype start, QString key, double number) {
    m_tokens.push_back({kind, {start, m_at}, std::move(key), number});
}

// Blank space, comments and continuations; false when none of them is here.
bool Lexer::skipBlank() {
    const QChar next = at();
    if (next == u'(' && at(1) == u'*')
        skipBlockComment();
    else if (next == u'#' || (next == u'-' && at(1) == u'-'))
        skipLineComment();
    else if (next == u'¬')
        continueLine();
    else if (!isLineEnd() && (next.isSpace() || next == u'\uFEFF' || next == QChar(0)))
        ++m_at;
    else
        return false;
    return true;
}

void Lexer::skipBlockComment() {
    const auto start = m_at;
    int depth = 0;
    do {
        if (m_at >= m_text.size())
            throw SyntaxError{{start, m_at}, u"Expected “*)” but found end of script."_s};
        if (at() == u'(' && at(1) == u'*')
            ++depth, m_at += 2;
        else if (at() == u'*' && at(1) == u')')
            --depth, m_at += 2;
        else
            ++m_at;
    } while (depth > 0);
}

void Lexer::skipLineComment() {
    while (m_at < m_text.size() && !isLineEnd())
        ++m_at;
}

// "¬", blanks and a comment, and the line end itself.
void Lexer::continueLine() {
    const auto start = m_at++;
    while (m_at < m_text.size() && !isLineEnd() && at() != u'¬' && skipBlank())
        continue;
    if (at() == u'\r' && at(1) == u'\n')
        ++m_at;
    if (m_at < m_text.size() && isLineEnd()) {
        ++m_at;
        return;
    }
    if (m_at < m_text.size()) {
        m_tokens.push_back({Token::Kind::unknown, {start, start + 1}, u"¬"_s});
    }
}

void Lexer::readLineEnd() {
    const auto start = m_at;
    m_at += at() == u'\r' && at(1) == u'\n' ? 2 : 1;
    add(Token::Kind::endOfLine, start);
}

void Lexer::readWord() {
    const auto start = m_at;
    while (m_at < m_text.size() && continuesWord(at()))
        ++m_at;
    QString key = m_text.sliced(start, m_at - start).toLower();
    readContraction(key);
    if (readDashedPreposition(key))
        return;
    add(Token::Kind::word, start, std::move(key));
}

// isn't, doesn't: the apostrophe belongs to the word.
void Lexer::readContraction(QString &key) {
    if (!key.endsWith(u'n') || !isApostrophe(at()) || at(1).toLower() != u't' || continuesWord(at(2)))
        return;
    key += u"'t";
    m_at += 2;
}

// apart-from, aside-from, instead-of and out-of are one word each.
bool Lexer::readDashedPreposition(const QString &key) {
    static constexpr QStringView PAIRS[][2] = {
        {u"apart", u"from"}, {u"aside", u"from"}, {u"instead", u"of"}, {u"out", u"of"}};
    for (const auto &[first, second] : PAIRS) {
        if (key != first || at() != u'-' || continuesWord(at(1 + second.size())))
            continue;
        if (QStringView(m_text).mid(m_at + 1, second.size()).compare(second, Qt::CaseInsensitive) != 0)
            continue;
        const auto start = m_at - key.size();
        m_at += 1 + second.size();
        add(Token::Kind::word, start, key + u'-' + second.toString());
        return true;
    }
    return false;
}

void Lexer::readName() {
    const auto start = m_at++;
    QString key;
    while (m_at < m_text.size() && !isLineEnd() && at() != u'|') {
        if (at() == u'\\' && m_at + 1 < m_text.size())
            ++m_at;
        key += at();
        ++m_at;
    }
    if (at() != u'|')
        throw SyntaxError{{start, m_at}, u"Expected “|” but found end of line."_s};
    ++m_at;
    add(Token::Kind::name, start, std::move(key));
}

void Lexer::readText() {
    const auto start = m_at++;
    QString value;
    while (m_at < m_text.size() && at() != u'"') {
        QChar next = at();
        if (next == u'\\' && m_at + 1 < m_text.size()) {
            ++m_at;
            next = at() == u'n' ? u'\n' : at() == u'r' ? u'\r' : at() == u't' ? u'\t' : at();
        }
        value += next;
        ++m_at;
    }
    if (m_at >= m_text.size())
        throw SyntaxError{{start, m_at}, u"Expected “\"” but found end of script."_s};
    ++m_at;
    add(Token::Kind::text, start, std::move(value));
}

void Lexer::readNumber() {
    const auto start = m_at;
    const auto digits = [this] {
        while (at().isDigit())
            ++m_at;
    };
    bool real = false;
    digits();
    if (at() == u'.' && (at(1).isDigit() || !startsWord(at(1)))) {
        real = true;
        ++m_at;
        digits();
    }
    const qsizetype sign = at(1) == u'+' || at(1) == u'-' ? 2 : 1;
    if (at().toLower() == u'e' && at(sign).isDigit()) {
        real = true;
        m_at += sign;
        digits();
    }
    const double number = QStringView(m_text).sliced(start, m_at - start).toDouble();
    if (startsWord(at()) && !real) {
        while (continuesWord(at()))
            ++m_at;
        return add(Token::Kind::ordinal, start, {}, number);
    }
    add(real || number > 536870911 ? Token::Kind::real : Token::Kind::integer, start, {}, number);
}

// «...», 《...》 and <<...>>; false when this is not one.
bool Lexer::readChevron() {
    const bool doubled = at() == u'<' && at(1) == u'<';
    if (!doubled && at() != u'«' && at() != u'《')
        return false;
    const auto start = m_at;
    const auto closes = [&](qsizetype i) {
        return doubled ? m_text[i] == u'>' && i + 1 < m_text.size() && m_text[i + 1] == u'>'
                       : m_text[i] == u'»' || m_text[i] == u'》';
    };
    const qsizetype open = start + (doubled ? 2 : 1);
    for (qsizetype i = open; i < m_text.size() && m_text[i] != u'\n' && m_text[i] != u'\r'; ++i) {
        if (m_text[i] == m_text[start])
            break; // not closed before the next one opens
        if (!closes(i))
            continue;
        m_at = i + (doubled ? 2 : 1);
        add(Token::Kind::chevron, start, m_text.sliced(open, i - open).simplified());
        return true;
    }
    return false;
}

void Lexer::readSymbol() {
    const auto start = m_at;
    const QChar next = at();
    if (isApostrophe(next) && at(1).toLower() == u's' && !continuesWord(at(2))) {
        m_at += 2;
        return add(Token::Kind::symbol, start, u"'s"_s);
    }
    static constexpr struct {
        QStringView written, key;
    } PAIRS[] = {{u"/=", u"≠"}, {u"<=", u"≤"}, {u">=", u"≥"}};
    for (const auto &[written, key] : PAIRS) {
        if (QStringView(m_text).sliced(start).startsWith(written)) {
            m_at += 2;
            return add(Token::Kind::symbol, start, key.toString());
        }
    }
    ++m_at;
    if (next == u'÷')
        return add(Token::Kind::symbol, start, u"/"_s);
    const bool known = QStringView(u"(){},:&*/+-^=≠<>≤≥").contains(next);
    add(known ? Token::Kind::symbol : Token::Kind::unknown, start, QString(next));
}

} // namespace

std::vector<Token> tokenize(const QString &script) {
    return Lexer(script).run();
}

} // namespace ombru::applescript
