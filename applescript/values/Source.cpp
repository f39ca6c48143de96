#include "applescript/values/Source.h"

#include <QStringDecoder>

#include <algorithm>

namespace ombru::applescript {

namespace {

// Mac Roman above 0x7F, the encoding of scripts older than Unicode.
constexpr char16_t MAC_ROMAN[] = u"ÄÅÇÉÑÖÜáàâäãåçéèêëíìîïñóòôöõúùûü†°¢£§•¶ß®©™´¨≠ÆØ∞±≤≥¥µ∂∑∏π∫ªºΩæø¿¡¬√ƒ≈∆«»…\u00A0ÀÃÕŒ"
                                 u"œ–—“”‘’÷◊ÿŸ⁄€‹›ﬁﬂ‡·‚„‰ÂÊÁËÈÍÎÏÌÓÔ"
                                 u"\uF8FFÒÚÛÙıˆ˜¯˘˙˚¸˝˛ˇ";

QString fromMacRoman(const QByteArray &bytes) {
    QString text;
    text.reserve(bytes.size());
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        text.append(code < 0x80 ? QChar(char16_t(code)) : QChar(MAC_ROMAN[code - 0x80]));
    }
    return text;
}

} // namespace

Range spanning(Range first, Range last) {
    return {std::min(first.start, last.start), std::max(first.end, last.end)};
}

Range inCharacters(QStringView text, Range range) {
    const auto count = [text](qsizetype from, qsizetype to) {
        const auto part = text.sliced(from, to - from);
        return std::count_if(part.begin(), part.end(), [](QChar unit) { return !unit.isLowSurrogate(); });
    };
    const auto start = std::clamp<qsizetype>(range.start, 0, text.size());
    const auto end = std::clamp<qsizetype>(range.end, start, text.size());
    const auto first = count(0, start);
    return {first, first + count(start, end)};
}

QString decodeScript(const QByteArray &bytes) {
    if (const auto encoding = QStringConverter::encodingForData(bytes)) {
        QStringDecoder decode(*encoding);
        return decode(bytes);
    }
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decode(bytes);
    return decode.hasError() ? fromMacRoman(bytes) : text;
}

} // namespace ombru::applescript
