#include "voice/ShareWords.h"

#include <QRegularExpression>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

QRegularExpression expression(const QString &pattern) {
    return QRegularExpression(pattern, QRegularExpression::CaseInsensitiveOption |
                                           QRegularExpression::UseUnicodePropertiesOption);
}

} // namespace

bool asksToShare(const QString &text) {
    static const auto words =
        expression(uR"(\b(share|play|stream|send|turn on)\b.*\b(audio|sound|music|computer)\b)"_s);
    return words.match(text).hasMatch();
}

bool asksToStopSharing(const QString &text) {
    static const auto words = expression(uR"(\b(stop|end|quit|turn off|cancel)\b.*\b(shar\w*|audio|sound|music)\b)"_s);
    return words.match(text).hasMatch();
}

} // namespace ombru
