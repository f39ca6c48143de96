#include "platform/linux/services/SecretHelper.h"

#include "base/Helper.h"
#include "platform/linux/services/SecretWire.h"

#include <QCoreApplication>

#include <algorithm>
#include <array>
#include <cerrno>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int MISSES_A_LIBRARY = 127; // what the system's loader ends a program with
constexpr int BY_A_SIGNAL = 128;

// With nothing that it wrote: that may be the secret.
QString whyUnusable(const HelperAnswer &answer) {
    if (answer.status > BY_A_SIGNAL)
        return u"it was ended by signal %1"_s.arg(answer.status - BY_A_SIGNAL);
    return answer.status == 0 ? u"what it answered makes no sense"_s : u"it failed (%1)"_s.arg(answer.status);
}

bool makesSense(QByteArrayView answer) {
    const auto word = answer.first(std::max<qsizetype>(answer.indexOf('\n'), 0));
    return std::ranges::any_of(std::array{secrets::YES, secrets::NO, secrets::UNKNOWN},
                               [word](const char *known) { return word == known; });
}

bool begins(const std::optional<QByteArray> &answer, const char *word) {
    return answer && answer->startsWith(QByteArray(word) + '\n');
}

} // namespace

QString SecretHelper::ours() {
    return QCoreApplication::applicationDirPath() + u"/ombru-secrets"_s;
}

// A program that cannot be used may be so for another reason than its libraries.
bool SecretHelper::isInstalled() const {
    const auto answer = callHelper(
        {.program = m_program, .arguments = {QLatin1StringView(secrets::READY)}, .limit = m_end - Clock::now()});
    return !answer || answer->status != MISSES_A_LIBRARY;
}

std::optional<QByteArray> SecretHelper::lookUp() const {
    const auto answer = ask(secrets::LOOK_UP);
    return begins(answer, secrets::YES) ? std::optional(answer->sliced(answer->indexOf('\n') + 1)) : std::nullopt;
}

bool SecretHelper::remove() const {
    return isYes(secrets::REMOVE);
}

bool SecretHelper::store(const QByteArray &value) const {
    return isYes(secrets::STORE, QByteArray::number(value.size()) + '\n' + value);
}

std::optional<bool> SecretHelper::isThere() const {
    const auto answer = ask(secrets::FIND);
    return !answer || begins(answer, secrets::UNKNOWN) ? std::nullopt : std::optional(begins(answer, secrets::YES));
}

bool SecretHelper::clearUnlocked() const {
    return isYes(secrets::CLEAR);
}

// None when it has no answer.
std::optional<QByteArray> SecretHelper::ask(const char *question, const QByteArray &input) const {
    QStringList arguments{QLatin1StringView(question)};
    if (!m_key.isEmpty())
        arguments += m_key;
    auto answer =
        callHelper({.program = m_program, .arguments = arguments, .input = input, .limit = m_end - Clock::now()});
    if (answer && answer->status == 0 && makesSense(answer->output))
        return std::move(answer->output);
    constexpr auto TROUBLE = "The store for secrets cannot be used: %1."_L1;
    if (answer && answer->status != MISSES_A_LIBRARY)
        m_told(TROUBLE.arg(m_program + u": "_s + whyUnusable(*answer)));
    else if (!answer && answer.error().code != ETIMEDOUT)
        m_told(TROUBLE.arg(answer.error().description));
    return std::nullopt;
}

bool SecretHelper::isYes(const char *question, const QByteArray &input) const {
    return begins(ask(question, input), secrets::YES);
}

} // namespace ombru
