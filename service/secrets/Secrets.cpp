#include "service/secrets/Secrets.h"

#include <array>
#include <sodium.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView LETTERS = u"BCDFGHJKLMNPQRSTVWXZ"; // no vowels: no words
constexpr QStringView DIGITS = u"0123456789";
constexpr qsizetype GROUP = 4;

QString randomOf(QStringView characters) {
    QString text;
    for (qsizetype place = 0; place < GROUP; ++place)
        text += characters[randombytes_uniform(static_cast<std::uint32_t>(characters.size()))];
    return text;
}

bool verifies(const QByteArray &hashed, const QByteArray &password) {
    return crypto_pwhash_str_verify(hashed.constData(), password.constData(),
                                    static_cast<unsigned long long>(password.size())) == 0;
}

} // namespace

const PasswordCost USUAL_COST{crypto_pwhash_OPSLIMIT_INTERACTIVE, crypto_pwhash_MEMLIMIT_INTERACTIVE};

void prepareSecrets() {
    if (sodium_init() < 0)
        qFatal("ombru-service cannot run: the system gives no random numbers.");
}

QByteArray newToken() {
    std::array<char, 32> bytes;
    randombytes_buf(bytes.data(), bytes.size());
    return QByteArray(bytes.data(), bytes.size())
        .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
}

QString newUserCode() {
    return randomOf(LETTERS) + u'-' + randomOf(DIGITS);
}

QString newVisitCode() {
    return randomOf(LETTERS) + u'-' + randomOf(LETTERS) + u'-' + randomOf(LETTERS);
}

QByteArray keptOf(QByteArrayView secret, QByteArrayView purpose) {
    QByteArray kept(crypto_generichash_BYTES, Qt::Uninitialized);
    crypto_generichash(
        reinterpret_cast<unsigned char *>(kept.data()), static_cast<std::size_t>(kept.size()),
        reinterpret_cast<const unsigned char *>(secret.data()), static_cast<unsigned long long>(secret.size()),
        reinterpret_cast<const unsigned char *>(purpose.data()), static_cast<std::size_t>(purpose.size()));
    return kept;
}

QByteArray csrfOf(QByteArrayView session) {
    return keptOf(session, "ombru forged requests").toBase64(QByteArray::Base64UrlEncoding);
}

QString plainCode(const QString &typed) {
    QString plain;
    for (const auto character : typed.toUpper())
        if (LETTERS.contains(character) || DIGITS.contains(character))
            plain += character;
    return plain;
}

bool sameSecret(QByteArrayView one, QByteArrayView other) {
    return one.size() == other.size() &&
           sodium_memcmp(one.data(), other.data(), static_cast<std::size_t>(one.size())) == 0;
}

QByteArray hashedPassword(const QString &password, PasswordCost cost) {
    std::array<char, crypto_pwhash_STRBYTES> hashed{};
    const auto bytes = password.toUtf8();
    if (crypto_pwhash_str(hashed.data(), bytes.constData(), static_cast<unsigned long long>(bytes.size()),
                          cost.operations, cost.memory) != 0)
        return {}; // no memory: nobody signs in by it
    return {hashed.data()};
}

bool isPassword(const QString &password, const QByteArray &hashed) {
    static const auto nobodys = hashedPassword(QString::fromLatin1(newToken()), USUAL_COST);
    const bool fits = verifies(hashed.isEmpty() ? nobodys : hashed, password.toUtf8());
    return fits && !hashed.isEmpty();
}

} // namespace ombru
