#include "osascript/desktop/TextSymbols.h"

#include "platform/linux/x11/X11.h"

#include <QList>

using namespace Qt::StringLiterals;

namespace ombru {
namespace {

xkb_keysym_t controlKey(char32_t character) {
    switch (character) {
    case U'\n':
    case U'\r':
        return XKB_KEY_Return;
    case 3:
        return XKB_KEY_KP_Enter;
    case U'\b':
        return XKB_KEY_BackSpace;
    case U'\t':
        return XKB_KEY_Tab;
    case 27:
        return XKB_KEY_Escape;
    case 28:
        return XKB_KEY_Left;
    case 29:
        return XKB_KEY_Right;
    case 30:
        return XKB_KEY_Up;
    case 31:
        return XKB_KEY_Down;
    case 127:
        return XKB_KEY_Delete;
    default:
        return XKB_KEY_NoSymbol;
    }
}

xkb_keysym_t symbolOf(char32_t character) {
    if (character < 0x20 || (character >= 0x7f && character < 0xa0))
        return controlKey(character);
    return xkb_utf32_to_keysym(character);
}

} // namespace

Result<std::vector<xkb_keysym_t>> symbolsOf(const QString &text) {
    QString lines = text;
    lines.replace(u"\r\n"_s, u"\n"_s);
    std::vector<xkb_keysym_t> result;
    for (const char32_t character : lines.toUcs4()) {
        result.push_back(symbolOf(character));
        if (result.back() == XKB_KEY_NoSymbol)
            return std::unexpected(desktopFailure(
                CANNOT_DO_IT, u"No key types the character U+%1."_s.arg(uint(character), 4, 16, QChar(u'0'))));
    }
    return result;
}

xkb_keysym_t borrowedSymbol(xkb_keysym_t symbol) {
    const std::uint32_t character = xkb_keysym_to_utf32(symbol);
    constexpr xkb_keysym_t UNICODE = 0x01000000;
    return character >= 0x100 ? UNICODE | character : symbol;
}

} // namespace ombru
