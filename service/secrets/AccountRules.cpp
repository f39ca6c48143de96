#include "service/secrets/AccountRules.h"

#include <QRegularExpression>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype SHORTEST_PASSWORD = 12; // characters
constexpr qsizetype LONGEST_ADDRESS = 254;

} // namespace

std::optional<QString> unfitAddress(const QString &email) {
    static const QRegularExpression FORM(u"^[^@\\s]+@[^@\\s]+$"_s);
    if (email.size() > LONGEST_ADDRESS || !FORM.match(email).hasMatch())
        return u"That is no e-mail address."_s;
    return std::nullopt;
}

std::optional<QString> unfitPassword(const QString &password) {
    if (password.size() < SHORTEST_PASSWORD)
        return u"A password has %1 characters at least."_s.arg(SHORTEST_PASSWORD);
    if (password.size() > LONGEST_PASSWORD)
        return u"A password has %1 characters at most."_s.arg(LONGEST_PASSWORD);
    return std::nullopt;
}

} // namespace ombru
