// Accounts and who is signed in. Part of the store, on its thread. Tokens come as their hashes.
#pragma once
#include "base/Failure.h"
#include "service/store/Records.h"

namespace ombru {

class Database;

class Accounts {
public:
    explicit Accounts(Database &database) : m_database(database) {}

    Result<bool> isEmpty();

    // A Failure with code ADDRESS_TAKEN when there is one of that address.
    static constexpr int ADDRESS_TAKEN = -1;
    Result<Account> add(const QString &email, const QByteArray &password, double now);

    // Adds the very first; none when there is one already.
    Result<std::optional<Account>> addFirst(const QString &email, const QByteArray &password, double now);

    Result<std::optional<AccountSecret>> find(const QString &email);

    Result<QString> addressOf(qint64 account); // empty when there is none

    // Ends all its sessions, too. False when there is no such account.
    Result<bool> setPassword(const QString &email, const QByteArray &password);

    Result<> beginSession(const QByteArray &token, qint64 account, double now, double expires);
    Result<std::optional<Account>> sessionOf(const QByteArray &token, double now);
    Result<> endSession(const QByteArray &token);
    Result<> dropOldSessions(double now);

    // The browsers in which an account has signed in before; of many the latest.
    Result<> rememberBrowser(const QByteArray &token, qint64 account, double now);
    Result<bool> knowsBrowser(const QByteArray &token, qint64 account);

private:
    Database &m_database;
};

} // namespace ombru
