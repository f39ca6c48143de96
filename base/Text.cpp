#include "base/Text.h"

#include <QStringDecoder>
#include <QTextBoundaryFinder>

namespace ombru {

namespace {
QTextBoundaryFinder graphemes(QStringView text) {
    return {QTextBoundaryFinder::Grapheme, text.data(), text.size()};
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

QString repairedUtf8(QByteArrayView bytes) {
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    return decode(bytes);
}

} // namespace ombru
