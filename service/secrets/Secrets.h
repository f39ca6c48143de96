// Tokens, codes and passwords: where they come from, and what is kept of them. Any thread.
#pragma once
#include <QByteArray>
#include <QString>

namespace ombru {

void prepareSecrets(); // once, before all else

QByteArray newToken();  // 256 bits, as characters for a header or a cookie
QString newUserCode();  // "KTHR-4821": to be read on one screen and typed on another
QString newVisitCode(); // "KTHR-WPNC-XDFM"

// What is kept in place of a token or a code; `purpose` makes another one of the same.
QByteArray keptOf(QByteArrayView secret, QByteArrayView purpose = {});

QByteArray csrfOf(QByteArrayView session); // a session's token against forged requests

// As it is typed: in any case, with or without the hyphens.
QString plainCode(const QString &typed);

bool sameSecret(QByteArrayView one, QByteArrayView other); // in a time that tells nothing

// How much work a guess of a password is.
struct PasswordCost {
    unsigned long long operations;
    std::size_t memory; // bytes
};
extern const PasswordCost USUAL_COST;

// These take a tenth of a second, and the memory, by intent. The hash names its own cost.
QByteArray hashedPassword(const QString &password, PasswordCost cost);
bool isPassword(const QString &password, const QByteArray &hashed); // false for an empty hash, in the same time

} // namespace ombru
