#include "base/Text.h"

#include <QStringDecoder>
#include <QTextBoundaryFinder>

namespace ombru {

namespace {
QTextBoundaryFinder graphemes(QStringView text) {
    return {QTextBoundaryFinder::Grapheme, text.data(), text.size()};
}

bool isQuotationMark(char32_t character) {
    return QStringView(u"\"\u201C\u201D\u201E\u201F\u00AB\u00BB\uFF02")
        .contains(QStringView(QChar::fromUcs4(character)));
}

// What it is shown as; 0 for nothing at all.
char32_t shown(char32_t character) {
    switch (QChar::category(character)) {
    case QChar::Separator_Space:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
    case QChar::Other_Control:
        return U' ';
    case QChar::Other_Format:
        return 0;
    case QChar::Other_Surrogate:
    case QChar::Other_PrivateUse:
    case QChar::Other_NotAssigned:
        return QChar::ReplacementCharacter;
    default:
        return isQuotationMark(character) ? U'\u2019' : character;
    }
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

QString shownLine(const QString &text, qsizetype most) {
    constexpr int MARKS = 4; // on one letter
    QString line;
    int marks = 0;
    // Far more than is shown, of a text that may be endless.
    for (const char32_t character : QStringView(text).first(std::min(text.size(), most * 64)).toUcs4()) {
        marks = QChar::isMark(character) ? marks + 1 : 0;
        const char32_t instead = marks > MARKS ? 0 : shown(character);
        if (instead != 0)
            line += QChar::fromUcs4(instead);
    }
    const QStringList all = characters(line.simplified());
    if (all.isEmpty())
        return QStringLiteral("?");
    if (all.size() <= most)
        return all.join(QString());
    const auto end = (most - 1) / 2;
    return all.first(most - 1 - end).join(QString()) + u'\u2026' + all.last(end).join(QString());
}

QString repairedUtf8(QByteArrayView bytes) {
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    return decode(bytes);
}

} // namespace ombru
