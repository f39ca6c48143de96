#include "service/store/Accounts.h"

#include "service/store/Database.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int MOST_BROWSERS = 50; // of an account

} // namespace

Result<bool> Accounts::isEmpty() {
    const auto any = m_database.row("SELECT 1 FROM accounts LIMIT 1", [](const Row &) { return true; });
    if (!any)
        return std::unexpected(any.error());
    return !*any;
}

Result<Account> Accounts::add(const QString &email, const QByteArray &password, double now) {
    const auto added =
        m_database.run("INSERT INTO accounts (email, password, created) VALUES (?, ?, ?)", email, password, now);
    if (!added && (added.error().code & 0xFF) == SQLITE_CONSTRAINT)
        return std::unexpected(Failure{u"store"_s, ADDRESS_TAKEN, u"There is an account %1 already."_s.arg(email)});
    if (!added)
        return std::unexpected(added.error());
    return Account{m_database.lastId(), email};
}

Result<std::optional<Account>> Accounts::addFirst(const QString &email, const QByteArray &password, double now) {
    return m_database.transaction([&]() -> Result<std::optional<Account>> {
        const auto first = isEmpty();
        if (!first)
            return std::unexpected(first.error());
        if (!*first)
            return std::nullopt;
        return add(email, password, now);
    });
}

Result<std::optional<AccountSecret>> Accounts::find(const QString &email) {
    return m_database.row(
        "SELECT id, email, password FROM accounts WHERE email = ?",
        [](const Row &row) { return AccountSecret{{row.integer(0), row.text(1)}, row.bytes(2)}; }, email);
}

Result<QString> Accounts::addressOf(qint64 account) {
    const auto address =
        m_database.row("SELECT email FROM accounts WHERE id = ?", [](const Row &row) { return row.text(0); }, account);
    if (!address)
        return std::unexpected(address.error());
    return address->value_or(QString());
}

Result<bool> Accounts::setPassword(const QString &email, const QByteArray &password) {
    return m_database.makingRoom([&] {
        return m_database.transaction([&]() -> Result<bool> {
            const auto set = m_database.run("UPDATE accounts SET password = ? WHERE email = ?", password, email);
            if (!set)
                return std::unexpected(set.error());
            if (m_database.changes() == 0)
                return false;
            // Whoever knew the old one may have signed in with it: no browser is known any more either.
            for (const auto *left : {"DELETE FROM sessions WHERE account = (SELECT id FROM accounts WHERE email = ?)",
                                     "DELETE FROM browsers WHERE account = (SELECT id FROM accounts WHERE email = ?)"})
                if (const auto ended = m_database.run(left, email); !ended)
                    return std::unexpected(ended.error());
            return true;
        });
    });
}

Result<> Accounts::beginSession(const QByteArray &token, qint64 account, double now, double expires) {
    return m_database.makingRoom([&] {
        return m_database.run("INSERT INTO sessions (token, account, created, expires) VALUES (?, ?, ?, ?)", token,
                              account, now, expires);
    });
}

Result<std::optional<Account>> Accounts::sessionOf(const QByteArray &token, double now) {
    return m_database.row(
        "SELECT accounts.id, email FROM sessions JOIN accounts ON accounts.id = account WHERE token = ? AND expires > "
        "?",
        [](const Row &row) { return Account{row.integer(0), row.text(1)}; }, token, now);
}

Result<> Accounts::endSession(const QByteArray &token) {
    return m_database.makingRoom([&] { return m_database.run("DELETE FROM sessions WHERE token = ?", token); });
}

Result<> Accounts::dropOldSessions(double now) {
    return m_database.makingRoom([&] { return m_database.run("DELETE FROM sessions WHERE expires <= ?", now); });
}

Result<> Accounts::rememberBrowser(const QByteArray &token, qint64 account, double now) {
    return m_database.makingRoom([&] {
        return m_database.transaction([&]() -> Result<> {
            const auto kept = m_database.run("INSERT OR REPLACE INTO browsers (token, account, used) VALUES (?, ?, ?)",
                                             token, account, now);
            if (!kept)
                return kept;
            return m_database.run("DELETE FROM browsers WHERE token IN (SELECT token FROM browsers WHERE account = ? "
                                  "ORDER BY used DESC LIMIT -1 OFFSET ?)",
                                  account, MOST_BROWSERS);
        });
    });
}

Result<bool> Accounts::knowsBrowser(const QByteArray &token, qint64 account) {
    const auto known = m_database.row(
        "SELECT 1 FROM browsers WHERE token = ? AND account = ?", [](const Row &) { return true; }, token, account);
    if (!known)
        return std::unexpected(known.error());
    return known->has_value();
}

} // namespace ombru
