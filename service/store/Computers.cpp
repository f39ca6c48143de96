#include "service/store/Computers.h"

#include "service/store/Database.h"

#include <algorithm>
#include <array>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

using State = DeviceRequest::State;

const std::array<std::pair<ComputerField, QString>, 6> FIELDS = {{{ComputerField::systemPrompt, u"system_prompt"_s},
                                                                  {ComputerField::greeting, u"greeting"_s},
                                                                  {ComputerField::voice, u"voice"_s},
                                                                  {ComputerField::speechKey, u"speech_key"_s},
                                                                  {ComputerField::trusted, u"trusted"_s},
                                                                  {ComputerField::shareAudio, u"share_audio"_s}}};

// Of a row of computer_records.
ComputerRecord readComputer(const Row &row) {
    return {row.integer(0), row.integer(1), row.text(2),      row.text(3),      row.text(4),
            row.real(5),    row.boolean(6), row.maybeReal(7), row.maybeReal(8), row.integer(9)};
}

DeviceRequest readRequest(const Row &row) {
    return {row.text(0), row.text(1), row.text(2), row.real(3), row.real(4), static_cast<State>(row.integer(5))};
}

} // namespace

// --- Those that ask

Result<> Computers::ask(const QByteArray &deviceCode, const QByteArray &userCode, const DeviceRequest &request) {
    return m_database.run("INSERT INTO device_codes (device, user, name, platform, address, asked, expires) "
                          "VALUES (?, ?, ?, ?, ?, ?, ?)",
                          deviceCode, userCode, request.name, request.platform, request.address, request.asked,
                          request.expires);
}

Result<std::optional<DeviceRequest>> Computers::openRequest(const QByteArray &userCode, double now) {
    return m_database.row("SELECT name, platform, address, asked, expires, state FROM device_codes "
                          "WHERE user = ? AND state = 0 AND expires > ?",
                          readRequest, userCode, now);
}

Result<std::optional<ComputerRecord>> Computers::before(qint64 account, const QString &name) {
    return m_database.row(
        "SELECT * FROM computer_records WHERE account = ? AND name = ? ORDER BY signed_in DESC, id DESC LIMIT 1",
        readComputer, account, name);
}

Result<bool> Computers::decide(const QByteArray &userCode, qint64 account, bool allowed, double now,
                               std::optional<qint64> before) {
    return m_database.transaction([&]() -> Result<bool> {
        if (allowed && before)
            if (const auto again = signInAgain(userCode, account, *before, now); !again || !*again)
                return again;
        const auto decided = m_database.run(
            "UPDATE device_codes SET state = ?, account = ? WHERE user = ? AND state = 0 AND expires > ?",
            static_cast<int>(allowed ? State::allowed : State::refused), account, userCode, now);
        if (!decided)
            return std::unexpected(decided.error());
        return m_database.changes() > 0;
    });
}

// Until it looks again nobody has a token of it.
Result<bool> Computers::signInAgain(const QByteArray &userCode, qint64 account, qint64 computer, double now) {
    const auto request = openRequest(userCode, now);
    if (!request || !*request)
        return request ? Result<bool>(false) : std::unexpected(request.error());
    const auto &its = **request;
    const auto renewed =
        m_database.run("UPDATE computers SET platform = ?, address = ?, signed_in = ?, fetched = NULL, "
                       "token = randomblob(32) WHERE id = ? AND account = ?",
                       its.platform, its.address, now, computer, account);
    if (!renewed)
        return std::unexpected(renewed.error());
    if (m_database.changes() == 0)
        return false;
    const auto noted = m_database.run("UPDATE device_codes SET computer = ? WHERE user = ?", computer, userCode);
    return noted ? Result<bool>(true) : std::unexpected(noted.error());
}

Result<std::optional<Computers::Look>> Computers::look(const QByteArray &deviceCode, const QByteArray &token,
                                                       const QString &callToken, double now) {
    struct Found {
        DeviceRequest request;
        qint64 account;
        std::optional<qint64> computer;
    };
    return m_database.transaction([&]() -> Result<std::optional<Look>> {
        const auto found = m_database.row(
            "SELECT name, platform, address, asked, expires, state, account, computer FROM device_codes "
            "WHERE device = ? AND expires > ?",
            [](const Row &row) { return Found{readRequest(row), row.integer(6), row.maybeInteger(7)}; }, deviceCode,
            now);
        if (!found)
            return std::unexpected(found.error());
        if (!*found)
            return std::nullopt;
        const auto &[request, account, computer] = **found;
        if (request.state != State::allowed)
            return Look{request.state, {}};
        if (computer) {
            const auto renewed = renew(*computer, token);
            if (!renewed || !*renewed)
                return renewed ? Result<std::optional<Look>>(std::nullopt) : std::unexpected(renewed.error());
            return Look{request.state, **renewed};
        }
        const auto made = signIn(deviceCode, request, account, token, callToken, now);
        if (!made)
            return std::unexpected(made.error());
        return Look{request.state, *made};
    });
}

Result<ComputerRecord> Computers::signIn(const QByteArray &deviceCode, const DeviceRequest &request, qint64 account,
                                         const QByteArray &token, const QString &callToken, double now) {
    const auto added = m_database.run("INSERT INTO computers (account, name, platform, address, signed_in, token, "
                                      "call_token) VALUES (?, ?, ?, ?, ?, ?, ?)",
                                      account, request.name, request.platform, request.address, now, token, callToken);
    if (!added)
        return std::unexpected(added.error());
    const auto id = m_database.lastId();
    const auto noted = m_database.run("UPDATE device_codes SET computer = ? WHERE device = ?", id, deviceCode);
    if (!noted)
        return std::unexpected(noted.error());
    return ComputerRecord{.id = id,
                          .account = account,
                          .name = request.name,
                          .platform = request.platform,
                          .address = request.address,
                          .signedIn = now};
}

Result<std::optional<ComputerRecord>> Computers::renew(qint64 computer, const QByteArray &token) {
    const auto renewed = m_database.run(
        "UPDATE computers SET token = ? WHERE id = ? AND fetched IS NULL AND token IS NOT NULL", token, computer);
    if (!renewed)
        return std::unexpected(renewed.error());
    if (m_database.changes() == 0)
        return std::nullopt;
    return find(computer);
}

Result<> Computers::dropOldRequests(double now) {
    return m_database.run("DELETE FROM device_codes WHERE expires <= ?", now);
}

// --- Those that are signed in, and those that were

Result<std::vector<ComputerRecord>> Computers::all() {
    return m_database.rows("SELECT * FROM computer_records ORDER BY id", readComputer);
}

Result<std::optional<ComputerRecord>> Computers::find(qint64 computer) {
    return m_database.row("SELECT * FROM computer_records WHERE id = ?", readComputer, computer);
}

Result<std::optional<ComputerRecord>> Computers::ofToken(const QByteArray &token) {
    return m_database.row("SELECT * FROM computer_records WHERE token = ?", readComputer, token);
}

Result<QString> Computers::callToken(qint64 computer) {
    const auto token = m_database.row(
        "SELECT call_token FROM computers WHERE id = ?", [](const Row &row) { return row.text(0); }, computer);
    if (!token)
        return std::unexpected(token.error());
    return token->value_or(QString());
}

Result<> Computers::revoke(qint64 computer) {
    return m_database.makingRoom(
        [&] { return m_database.run("UPDATE computers SET token = NULL WHERE id = ?", computer); });
}

Result<> Computers::fetched(qint64 computer, double now, const QString &platform) {
    const auto noted = m_database.run("UPDATE computers SET fetched = ?, seen = ?, platform = ? WHERE id = ?", now, now,
                                      platform, computer);
    if (!noted)
        return noted;
    return m_database.run("UPDATE computer_fields SET arrived = ? WHERE computer = ? AND arrived IS NULL", now,
                          computer);
}

Result<> Computers::seen(qint64 computer, double now) {
    return m_database.run("UPDATE computers SET seen = ? WHERE id = ?", now, computer);
}

Result<ComputerFields> Computers::fields(qint64 computer) {
    struct Entry {
        QString name;
        SetValue value;
    };
    const auto rows = m_database.rows(
        "SELECT field, value, saved, arrived FROM computer_fields WHERE computer = ?",
        [](const Row &row) { return Entry{row.text(0), {row.text(1), row.real(2), row.maybeReal(3)}}; }, computer);
    if (!rows)
        return std::unexpected(rows.error());
    ComputerFields fields;
    for (const auto &[name, value] : *rows) {
        const auto known = std::ranges::find(FIELDS, name, &std::pair<ComputerField, QString>::second);
        if (known != FIELDS.end())
            fields.emplace(known->first, value);
    }
    return fields;
}

Result<> Computers::setFields(qint64 computer, const std::map<ComputerField, QString> &values, double now) {
    return m_database.transaction([&]() -> Result<> {
        for (const auto &[field, value] : values) {
            const auto known = std::ranges::find(FIELDS, field, &std::pair<ComputerField, QString>::first);
            const auto set = m_database.run(
                "INSERT OR REPLACE INTO computer_fields (computer, field, value, saved) VALUES (?, ?, ?, ?)", computer,
                known->second, value, now);
            if (!set)
                return set;
        }
        return {};
    });
}

} // namespace ombru
