#include "controller/CallRoute.h"

#include <QStringList>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

const QStringList STOP_WORDS = {u"stop"_s,      u"cancel"_s, u"stop it"_s, u"never mind"_s,
                                u"nevermind"_s, u"abort"_s,  u"quit"_s};

QString lettersAndSpaces(const QString &text) {
    QString kept;
    for (const auto character : text.toLower().toUcs4())
        if (character == u' ' || QChar::isLetter(character))
            kept += QStringView(QChar::fromUcs4(character));
    return kept.trimmed();
}

} // namespace

CallRoute routeOf(const QString &text, bool busy) {
    if (STOP_WORDS.contains(lettersAndSpaces(text)))
        return busy ? CallRoute::stop : CallRoute::idle;
    return busy ? CallRoute::refuse : CallRoute::start;
}

} // namespace ombru
