#include "applescript/values/Text.h"

#include <QTextBoundaryFinder>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

namespace {

bool isPlain(QStringView text) {
    return std::all_of(text.begin(), text.end(), [](QChar unit) { return unit.unicode() < 0x300; });
}

QString withoutMarks(const QString &text) {
    QString out;
    for (const QChar unit : text.normalized(QString::NormalizationForm_D)) {
        if (!unit.isMark())
            out += unit;
    }
    return out;
}

bool isLeftOut(QChar unit, const TextRules &rules) {
    const bool hyphen = unit.category() == QChar::Punctuation_Dash;
    return (unit.isSpace() && !rules.considers(Attribute::whiteSpace)) ||
           (hyphen && !rules.considers(Attribute::hyphens)) ||
           (unit.isPunct() && !hyphen && !rules.considers(Attribute::punctuation));
}

// Digits as one number, so that "9" comes before "10".
int compareNumeric(QStringView left, QStringView right, Qt::CaseSensitivity sensitivity) {
    qsizetype i = 0, j = 0;
    const auto number = [](QStringView text, qsizetype &at) {
        const auto start = at;
        while (at < text.size() && text[at].isDigit())
            ++at;
        auto digits = text.sliced(start, at - start);
        while (digits.size() > 1 && digits.front() == u'0')
            digits = digits.sliced(1);
        return digits;
    };
    while (i < left.size() && j < right.size()) {
        if (left[i].isDigit() && right[j].isDigit()) {
            const auto a = number(left, i), b = number(right, j);
            if (a.size() != b.size())
                return a.size() < b.size() ? -1 : 1;
            if (const int order = a.compare(b))
                return order;
            continue;
        }
        if (const int order = left.sliced(i, 1).compare(right.sliced(j, 1), sensitivity))
            return order;
        ++i, ++j;
    }
    return int(left.size() - i) - int(right.size() - j) < 0 ? -1 : left.size() - i > right.size() - j ? 1 : 0;
}

std::vector<Span> characters(const QString &text) {
    std::vector<Span> spans;
    if (isPlain(text)) {
        for (qsizetype i = 0; i < text.size(); ++i)
            spans.push_back({i, 1});
        return spans;
    }
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype start = 0;
    for (auto end = finder.toNextBoundary(); end >= 0; start = end, end = finder.toNextBoundary()) {
        if (end - start == 2 && text[start] == u'\r') { // a line end of two is two characters
            spans.push_back({start, 1});
            spans.push_back({start + 1, 1});
        } else {
            spans.push_back({start, end - start});
        }
    }
    return spans;
}

std::vector<Span> words(const QString &text) {
    std::vector<Span> spans;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Word, text);
    qsizetype start = 0;
    for (qsizetype at = 0; at >= 0; at = finder.toNextBoundary()) {
        const auto reasons = finder.boundaryReasons();
        if (reasons & QTextBoundaryFinder::EndOfItem)
            spans.push_back({start, at - start});
        if (reasons & QTextBoundaryFinder::StartOfItem)
            start = at;
    }
    return spans;
}

std::vector<Span> paragraphs(const QString &text) {
    std::vector<Span> spans;
    if (text.isEmpty())
        return spans;
    qsizetype start = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar unit = text[i];
        if (unit != u'\n' && unit != u'\r' && unit != QChar::ParagraphSeparator)
            continue;
        spans.push_back({start, i - start});
        if (unit == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n')
            ++i;
        start = i + 1;
    }
    spans.push_back({start, text.size() - start});
    return spans;
}

std::vector<Span> textItems(const QString &text, const TextRules &rules) {
    QStringList delimiters;
    for (const auto &delimiter : rules.delimiters) {
        if (!delimiter.isEmpty())
            delimiters.append(delimiter);
    }
    if (delimiters.isEmpty())
        return characters(text);
    std::vector<Span> spans;
    if (text.isEmpty())
        return spans;
    std::vector<qsizetype> next(std::size_t(delimiters.size()), -2);
    qsizetype start = 0;
    while (true) {
        qsizetype best = -1, length = 0;
        for (std::size_t i = 0; i < next.size(); ++i) {
            const auto &delimiter = delimiters[qsizetype(i)];
            if (next[i] != -1 && next[i] < start)
                next[i] = text.indexOf(delimiter, start, rules.caseSensitivity());
            if (next[i] >= 0 && (best < 0 || next[i] < best || (next[i] == best && delimiter.size() > length))) {
                best = next[i];
                length = delimiter.size();
            }
        }
        if (best < 0)
            break;
        spans.push_back({start, best - start});
        start = best + length;
    }
    spans.push_back({start, text.size() - start});
    return spans;
}

} // namespace

QString comparable(const QString &text, const TextRules &rules) {
    QString out = text;
    if (!rules.considers(Attribute::diacriticals))
        out = withoutMarks(out);
    else if (!isPlain(out))
        out = out.normalized(QString::NormalizationForm_C);
    constexpr int all = int(Attribute::whiteSpace) | int(Attribute::hyphens) | int(Attribute::punctuation);
    if ((rules.considered & all) != all)
        out.removeIf([&rules](QChar unit) { return isLeftOut(unit, rules); });
    return out;
}

int compareText(const QString &left, const QString &right, const TextRules &rules) {
    const QString a = comparable(left, rules), b = comparable(right, rules);
    if (rules.considers(Attribute::numericStrings))
        return compareNumeric(a, b, rules.caseSensitivity());
    return a.compare(b, rules.caseSensitivity());
}

std::vector<Span> textElements(const QString &text, const QString &kind, const TextRules &rules) {
    if (kind == u"word")
        return words(text);
    if (kind == u"paragraph")
        return paragraphs(text);
    if (kind == u"text item")
        return textItems(text, rules);
    return characters(text);
}

} // namespace ombru::applescript
