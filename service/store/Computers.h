// Computers: those that want to be signed in, those that are, and what their owners set for them. Part of the store, on
// its thread. Tokens and codes come as their hashes.
#pragma once
#include "base/Failure.h"
#include "service/store/Records.h"

namespace ombru {

class Database;

class Computers {
public:
    explicit Computers(Database &database) : m_database(database) {}

    // --- Those that ask

    Result<> ask(const QByteArray &deviceCode, const QByteArray &userCode, const DeviceRequest &request);
    Result<std::optional<DeviceRequest>> openRequest(const QByteArray &userCode, double now);

    // One of the account's that calls itself that, the latest: it may be the one that asks.
    Result<std::optional<ComputerRecord>> before(qint64 account, const QString &name);

    // An allowed one becomes a new computer, or the one that it was before: that keeps its tasks and settings, and its
    // token of then counts no more. False when there is no such request that is open, or no such computer.
    Result<bool> decide(const QByteArray &userCode, qint64 account, bool allowed, double now,
                        std::optional<qint64> before = {});

    // What a computer is told that looks whether it was allowed. Once it was, `token` becomes its own, again with each
    // look until it has been used: an answer may get lost.
    struct Look {
        DeviceRequest::State state = DeviceRequest::State::open;
        std::optional<ComputerRecord> computer; // when it is allowed
    };
    // None when there is no such request any more.
    Result<std::optional<Look>> look(const QByteArray &deviceCode, const QByteArray &token, const QString &callToken,
                                     double now);
    Result<> dropOldRequests(double now);

    // --- Those that are signed in, and those that were

    Result<std::vector<ComputerRecord>> all();
    Result<std::optional<ComputerRecord>> find(qint64 computer);
    Result<std::optional<ComputerRecord>> ofToken(const QByteArray &token);
    Result<QString> callToken(qint64 computer);
    Result<> revoke(qint64 computer); // its token is gone, it and its tasks stay
    Result<> fetched(qint64 computer, double now, const QString &platform);
    Result<> seen(qint64 computer, double now);

    Result<ComputerFields> fields(qint64 computer);
    Result<> setFields(qint64 computer, const std::map<ComputerField, QString> &values, double now);

private:
    Result<ComputerRecord> signIn(const QByteArray &deviceCode, const DeviceRequest &request, qint64 account,
                                  const QByteArray &token, const QString &callToken, double now);
    Result<bool> signInAgain(const QByteArray &userCode, qint64 account, qint64 computer, double now);
    Result<std::optional<ComputerRecord>> renew(qint64 computer, const QByteArray &token);

    Database &m_database;
};

} // namespace ombru
