// What is said to the desktop's store of secrets about one key, or about all without one, by a program that has what
// this takes: nothing of that stays in this one, which asks seldom. Each question starts it anew, so that a bus that
// was restarted is found again. Blocks; any thread but the main one.
#pragma once
#include "base/Clock.h"
#include "platform/SystemLog.h"

#include <QString>

#include <functional>
#include <optional>

namespace ombru {

class SecretHelper {
public:
    using Told = std::function<void(const QString &trouble)>;

    // After that time it is ended, and the store counts as one that cannot be used. Why it cannot be used is told, but
    // where a library is not installed, which is no trouble.
    SecretHelper(QString program, QString key, Clock::Time end, Told told = logger::error)
        : m_program(std::move(program)), m_key(std::move(key)), m_end(end), m_told(std::move(told)) {}

    // The one that lies beside the application.
    static QString ours();

    // False where the libraries that it needs are not.
    bool isInstalled() const;

    // Waits for the owner, who may be asked to unlock the store.
    std::optional<QByteArray> lookUp() const; // none when there is none, and when that cannot be told
    bool remove() const;                      // all there is; false when something is left, or when that cannot be told
    bool store(const QByteArray &value) const;

    // Asks the owner nothing.
    std::optional<bool> isThere() const; // none when that cannot be told
    bool clearUnlocked() const;          // what is not locked; false as above

private:
    std::optional<QByteArray> ask(const char *question, const QByteArray &input = {}) const;
    bool isYes(const char *question, const QByteArray &input = {}) const;

    QString m_program;
    QString m_key;
    Clock::Time m_end;
    Told m_told;
};

} // namespace ombru
