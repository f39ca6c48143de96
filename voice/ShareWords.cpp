#include "voice/ShareWords.h"

#include <QRegularExpression>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

bool matches(const QString &pattern, const QString &text) {
    return QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption |
                                           QRegularExpression::UseUnicodePropertiesOption)
        .match(text)
        .hasMatch();
}

} // namespace

bool asksToShare(const QString &text) {
    return matches(uR"(\b(share|play|stream|send|turn on)\b.*\b(audio|sound|music|computer)\b)"_s, text);
}

bool asksToStopSharing(const QString &text) {
    return matches(uR"(\b(stop|end|quit|turn off|cancel)\b.*\b(shar\w*|audio|sound|music)\b)"_s, text);
}

} // namespace ombru
