#include "applescript/syntax/Keywords.h"

#include <QSet>
#include <QStringList>

namespace ombru::applescript {

using namespace Qt::StringLiterals;

bool isKeyword(const QString &word) {
    static const QSet<QString> keywords = {
        u"about"_s,      u"above"_s,   u"after"_s,       u"against"_s,   u"and"_s,         u"apart-from"_s,
        u"around"_s,     u"as"_s,      u"aside-from"_s,  u"at"_s,        u"back"_s,        u"before"_s,
        u"beginning"_s,  u"behind"_s,  u"below"_s,       u"beneath"_s,   u"beside"_s,      u"between"_s,
        u"but"_s,        u"by"_s,      u"considering"_s, u"contain"_s,   u"contains"_s,    u"continue"_s,
        u"copy"_s,       u"div"_s,     u"does"_s,        u"eighth"_s,    u"else"_s,        u"end"_s,
        u"equal"_s,      u"equals"_s,  u"error"_s,       u"every"_s,     u"exit"_s,        u"false"_s,
        u"fifth"_s,      u"first"_s,   u"for"_s,         u"fourth"_s,    u"from"_s,        u"front"_s,
        u"get"_s,        u"given"_s,   u"global"_s,      u"if"_s,        u"ignoring"_s,    u"in"_s,
        u"instead-of"_s, u"into"_s,    u"is"_s,          u"isn't"_s,     u"it"_s,          u"its"_s,
        u"last"_s,       u"local"_s,   u"me"_s,          u"middle"_s,    u"mod"_s,         u"my"_s,
        u"ninth"_s,      u"not"_s,     u"of"_s,          u"on"_s,        u"onto"_s,        u"or"_s,
        u"out-of"_s,     u"over"_s,    u"prop"_s,        u"property"_s,  u"put"_s,         u"ref"_s,
        u"reference"_s,  u"repeat"_s,  u"return"_s,      u"returning"_s, u"script"_s,      u"second"_s,
        u"set"_s,        u"seventh"_s, u"since"_s,       u"sixth"_s,     u"some"_s,        u"tell"_s,
        u"tenth"_s,      u"that"_s,    u"the"_s,         u"then"_s,      u"third"_s,       u"through"_s,
        u"thru"_s,       u"timeout"_s, u"times"_s,       u"to"_s,        u"transaction"_s, u"true"_s,
        u"try"_s,        u"until"_s,   u"where"_s,       u"while"_s,     u"whose"_s,       u"with"_s,
        u"without"_s,    u"doesn't"_s};
    return keywords.contains(word);
}

bool isPreposition(const QString &word) {
    static const QSet<QString> prepositions = {
        u"about"_s,  u"above"_s, u"against"_s,    u"apart-from"_s, u"around"_s,  u"aside-from"_s,
        u"at"_s,     u"below"_s, u"beneath"_s,    u"beside"_s,     u"between"_s, u"by"_s,
        u"for"_s,    u"from"_s,  u"instead-of"_s, u"into"_s,       u"on"_s,      u"onto"_s,
        u"out-of"_s, u"over"_s,  u"since"_s,      u"thru"_s,       u"through"_s, u"under"_s};
    return prepositions.contains(word);
}

std::optional<int> ordinalNumber(const QString &word) {
    static const QStringList words = {u"first"_s, u"second"_s,  u"third"_s,  u"fourth"_s, u"fifth"_s,
                                      u"sixth"_s, u"seventh"_s, u"eighth"_s, u"ninth"_s,  u"tenth"_s};
    const auto index = words.indexOf(word);
    if (index >= 0)
        return int(index) + 1;
    if (word == u"front")
        return 1;
    if (word == u"last" || word == u"back")
        return -1;
    return std::nullopt;
}

} // namespace ombru::applescript
