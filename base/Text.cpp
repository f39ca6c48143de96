#include "base/Text.h"

#include <QTextBoundaryFinder>

#include <algorithm>
#include <array>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {
QTextBoundaryFinder graphemes(QStringView text) {
    return {QTextBoundaryFinder::Grapheme, text.data(), text.size()};
}

bool isQuotationMark(char32_t character) {
    return QStringView(u"\"\u201C\u201D\u201E\u201F\u00AB\u00BB\uFF02")
        .contains(QStringView(QChar::fromUcs4(character)));
}

// Letters, marks and signs that leave no trace on the screen.
bool isBlank(char32_t character) {
    struct Range {
        char32_t first;
        char32_t last;
    };
    static constexpr std::array<Range, 9> BLANKS{{{0x034F, 0x034F},
                                                  {0x115F, 0x1160},
                                                  {0x17B4, 0x17B5},
                                                  {0x180B, 0x180F},
                                                  {0x2800, 0x2800},
                                                  {0x3164, 0x3164},
                                                  {0xFE00, 0xFE0F},
                                                  {0xFFA0, 0xFFA0},
                                                  {0xE0100, 0xE01EF}}};
    return std::ranges::any_of(BLANKS,
                               [&](const Range &range) { return character >= range.first && character <= range.last; });
}

// Cannot be seen, looks like another one, or changes how its neighbours are seen.
bool isUnseen(char32_t character) {
    switch (QChar::category(character)) {
    case QChar::Separator_Space:
        return character != U' ';
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_Surrogate:
    case QChar::Other_PrivateUse:
    case QChar::Other_NotAssigned:
        return true;
    default:
        return isBlank(character);
    }
}

// In marks that stand for nothing else, since shownLine() lets no quotation mark through.
QString named(char32_t character) {
    return u"\u00ABU+"_s + QString::number(uint(character), 16).toUpper().rightJustified(4, u'0') + u'\u00BB';
}

constexpr char32_t FIRST_BEYOND_LATIN = 0x0300;

bool isHidden(char32_t character, char32_t before) {
    const bool isJoiner = character == 0x200C || character == 0x200D;
    const bool isChoice = character >= 0xFE00 && character <= 0xFE0F;
    if (isJoiner || isChoice)
        return before < FIRST_BEYOND_LATIN;
    return QChar::category(character) == QChar::Other_Format || isBlank(character);
}
} // namespace

qsizetype characterCount(QStringView text) {
    auto finder = graphemes(text);
    qsizetype count = 0;
    while (finder.toNextBoundary() >= 0)
        ++count;
    return count;
}

QString firstCharacters(const QString &text, qsizetype count) {
    // A character has at least one code unit, so a text this short needs no look; a character of more than 64 units is
    // no writing, and a bounded window keeps a text of many megabytes cheap.
    if (text.size() <= count)
        return text;
    const auto window = QStringView(text).first(std::min(text.size(), count * 64 + 64));
    auto finder = graphemes(window);
    qsizetype end = 0;
    for (qsizetype taken = 0; taken < count && end >= 0 && end < window.size(); ++taken)
        end = finder.toNextBoundary();
    return end < 0 ? text : text.first(end);
}

QString firstBytes(const QString &text, qsizetype bytes) {
    // A code unit takes three bytes at most.
    if (text.size() * 3 <= bytes)
        return text;
    auto finder = graphemes(QStringView(text).first(std::min(text.size(), bytes + 1)));
    qsizetype end = 0;
    qsizetype left = bytes;
    for (auto next = finder.toNextBoundary(); next > end; next = finder.toNextBoundary()) {
        left -= QStringView(text).sliced(end, next - end).toUtf8().size();
        if (left < 0)
            break;
        end = next;
    }
    return text.first(end);
}

QStringList characters(QStringView text) {
    QStringList result;
    auto finder = graphemes(text);
    qsizetype start = 0;
    for (qsizetype end = finder.toNextBoundary(); end >= 0; start = end, end = finder.toNextBoundary())
        result.append(text.sliced(start, end - start).toString());
    return result;
}

QString firstLine(const QString &text) {
    const auto end = text.indexOf(u'\n');
    if (end < 0)
        return text;
    return text.first(end > 0 && text[end - 1] == u'\r' ? end - 1 : end);
}

QString withUnseenShown(const QString &text) {
    QString shown;
    shown.reserve(text.size());
    char32_t before = 0;
    for (const auto character : text.toUcs4()) {
        if (isHidden(character, before))
            shown += named(character);
        else
            shown += QStringView(QChar::fromUcs4(character));
        before = character;
    }
    return shown;
}

QString shownLine(const QString &text, qsizetype most) {
    constexpr int MARKS = 4; // on one letter
    QString line;
    int marks = 0;
    // Far more than is shown, of a text that may be endless.
    for (const char32_t character : QStringView(text).first(std::min(text.size(), most * 64)).toUcs4()) {
        marks = QChar::isMark(character) ? marks + 1 : 0;
        const bool isLost = character == U' ' && (line.isEmpty() || line.endsWith(u' '));
        if (isLost || isUnseen(character))
            line += named(character);
        else if (marks <= MARKS)
            line += QChar::fromUcs4(isQuotationMark(character) ? U'\u2019' : character);
    }
    if (line.endsWith(u' '))
        line.replace(line.size() - 1, 1, named(U' '));
    const QStringList all = characters(line);
    if (all.isEmpty())
        return QStringLiteral("?");
    if (all.size() <= most)
        return all.join(QString());
    const auto end = (most - 1) / 2;
    return all.first(most - 1 - end).join(QString()) + u'\u2026' + all.last(end).join(QString());
}

QString repairedUtf8(QByteArrayView bytes) {
    // A decoder would keep a sequence that is cut off at the end, for what might follow.
    const auto text = QString::fromUtf8(bytes);
    return bytes.startsWith("\xEF\xBB\xBF") ? QChar(QChar::ByteOrderMark) + text : text;
}

} // namespace ombru
