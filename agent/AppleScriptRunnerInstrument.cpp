// The line markers of AppleScriptRunner: which statements get one, and how.
#include "agent/AppleScriptRunner.h"
#include "agent/ScriptMarker.h"
#include "base/Text.h"

#include <QHash>
#include <QRegularExpression>

#include <charconv>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

bool isBlank(QChar character) {
    return character == u' ' || character == u'\t';
}

QString trimmedBlanks(const QString &text) {
    qsizetype start = 0;
    qsizetype end = text.size();
    while (start < end && isBlank(text[start]))
        ++start;
    while (end > start && isBlank(text[end - 1]))
        --end;
    return text.sliced(start, end - start);
}

QString indentation(const QString &line) {
    const auto end = std::ranges::find_if_not(line, isBlank);
    return line.first(end - line.begin());
}

// One statement: a physical line, or several that are joined with "¬".
struct LogicalLine {
    int first = 0; // number of its first physical line, from 1
    QString code;
    bool startsInComment = false; // its last physical line does
};

class LogicalLines {
public:
    static std::vector<LogicalLine> of(const QStringList &physical) {
        LogicalLines lines;
        for (const auto &line : physical)
            lines.add(line);
        if (lines.m_pending)
            lines.finish(false);
        return std::move(lines.m_lines);
    }

private:
    void add(const QString &physical) {
        ++m_number;
        const bool inComment = m_depth > 0;
        auto [text, depth] = AppleScriptRunner::stripStringsAndComments(physical, m_depth);
        m_depth = depth;
        if (text.isEmpty() && !m_pending)
            return;
        if (!m_pending) {
            m_pending = true;
            m_first = m_number;
        }
        const bool goesOn = text.endsWith(u'¬');
        m_pieces.append(goesOn ? trimmedBlanks(text.chopped(1)) : text);
        if (!goesOn)
            finish(inComment);
    }
    void finish(bool inComment) {
        m_lines.push_back({m_first, m_pieces.join(u' '), inComment});
        m_pieces.clear();
        m_pending = false;
    }

    std::vector<LogicalLine> m_lines;
    int m_number = 0;
    int m_depth = 0;
    bool m_pending = false;
    int m_first = 0;
    QStringList m_pieces;
};

bool isHandlerHeader(const QString &code) {
    return AppleScriptRunner::matches(code, uR"(^(on|to)\s+(?!error\b)\w)"_s);
}

bool isScriptHeader(const QString &code) {
    return AppleScriptRunner::matches(code, uR"(^script\b)"_s);
}

// Lines that a statement before them would break: parts of a block, declarations and headers.
bool isStatement(const QString &code) {
    return !AppleScriptRunner::matches(code, uR"(^(else\b|end\b|on\s+error\b|property\b|global\b|prop\b|use\b))"_s) &&
           !isHandlerHeader(code) && !isScriptHeader(code);
}

enum class Block { handler, script, block };

std::optional<Block> blockOpenedBy(const QString &code) {
    using AppleScriptRunner::matches;
    if (isHandlerHeader(code))
        return Block::handler;
    if (isScriptHeader(code))
        return Block::script;
    const bool opens = (matches(code, uR"(^tell\b)"_s) && !matches(code, uR"(\bto\b)"_s)) ||
                       (matches(code, uR"(^if\b)"_s) && matches(code, uR"(\bthen$)"_s)) ||
                       matches(code, uR"(^(repeat\b|try\b|considering\b|ignoring\b|with\s+timeout\b|)"
                                     uR"(with\s+transaction\b|using\s+terms\s+from\b))"_s);
    return opens ? std::optional(Block::block) : std::nullopt;
}

std::set<int> linesToMark(const std::vector<LogicalLine> &lines) {
    const bool hasRunHandler = std::ranges::any_of(
        lines, [](const LogicalLine &line) { return AppleScriptRunner::matches(line.code, uR"(^on\s+run\b)"_s); });
    std::set<int> marked;
    std::vector<Block> open;
    for (const auto &line : lines) {
        const bool runsHere = open.empty() ? !hasRunHandler : open.back() != Block::script;
        if (runsHere && !line.startsInComment && isStatement(line.code))
            marked.insert(line.first);
        if (AppleScriptRunner::matches(line.code, uR"(^end\b)"_s)) {
            if (!open.empty())
                open.pop_back();
        } else if (const auto block = blockOpenedBy(line.code)) {
            open.push_back(*block);
        }
    }
    return marked;
}

// The shortest decimal text that reads back as the same number, with a fraction or an exponent.
QString shortest(double number) {
    const bool plain = number >= 1e-4 && number < 1e16;
    char text[64];
    const auto end = std::to_chars(std::begin(text), std::end(text), number,
                                   plain ? std::chars_format::fixed : std::chars_format::scientific)
                         .ptr;
    const auto result = QString::fromLatin1(text, end - text);
    return result.contains(u'.') || result.contains(u'e') ? result : result + u".0"_s;
}

} // namespace

AppleScriptRunner::Stripped AppleScriptRunner::stripStringsAndComments(const QString &line, int depth) {
    const auto all = characters(line);
    const auto at = [&](qsizetype index) { return index < all.size() ? QStringView(all[index]) : QStringView(); };
    const auto pairAt = [&](qsizetype index, QChar first, QChar second) {
        return at(index) == first && at(index + 1) == second;
    };
    QString text;
    for (qsizetype i = 0; i < all.size();) {
        if (depth >= 1 && pairAt(i, u'*', u')')) {
            --depth;
            i += 2;
        } else if (pairAt(i, u'(', u'*')) {
            ++depth;
            i += 2;
        } else if (depth >= 1) {
            ++i;
        } else if (pairAt(i, u'-', u'-') || at(i) == u'#') {
            break;
        } else if (at(i) == u'"') {
            for (++i; i < all.size() && at(i) != u'"'; ++i)
                if (at(i) == u'\\')
                    ++i;
            ++i;
            text += u"\"\""_s;
        } else {
            text += at(i++);
        }
    }
    return {trimmedBlanks(text), depth};
}

AppleScriptRunner::Instrumented AppleScriptRunner::instrument(const QString &script, double delay) {
    const auto physical = script.split(u'\n');
    const auto marked = linesToMark(LogicalLines::of(physical));
    QStringList result;
    for (int number = 1; const auto &line : physical) {
        if (marked.contains(number)) {
            result.append(indentation(line) + u"tell me to log \""_s + MARKER.toString() + QString::number(number) +
                          u'"');
            if (delay > 0)
                result.append(indentation(line) + u"tell me to delay "_s + shortest(delay));
        }
        result.append(line);
        ++number;
    }
    return {result.join(u'\n'), marked};
}

bool AppleScriptRunner::matches(const QString &text, const QString &expression) {
    static thread_local QHash<QString, QRegularExpression> compiled;
    auto known = compiled.constFind(expression);
    if (known == compiled.constEnd()) {
        // Any line end counts for "$": a script may come with those of another system.
        known = compiled.insert(expression, QRegularExpression(u"(*ANY)"_s + expression,
                                                               QRegularExpression::CaseInsensitiveOption |
                                                                   QRegularExpression::UseUnicodePropertiesOption));
    }
    return known->isValid() && known->match(text).hasMatch();
}

} // namespace ombru
