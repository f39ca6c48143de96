// What leaves the history.

#include "service/store/Database.h"
#include "service/store/History.h"

namespace ombru {

namespace {

constexpr int DROPPED_AT_ONCE = 2000; // rows, before others have their turn
constexpr qint64 BYTES_AT_ONCE = 8 << 20;

} // namespace

// --- All of a computer

Result<> History::forget(qint64 computer, qint64 upTo) {
    constexpr auto ALL = std::numeric_limits<qint64>::max();
    const auto noted = m_database.makingRoom([&] {
        return m_database.run("UPDATE computers SET last_number = max(last_number, ?) WHERE id = ?", upTo, computer);
    });
    if (!noted)
        return noted;
    for (bool more = true; more;) {
        const auto dropped = m_database.makingRoom([&] {
            return m_database.transaction([&]() -> Result<bool> {
                const auto last = lastOf(computer, BYTES_AT_ONCE);
                if (!last)
                    return std::unexpected(last.error());
                const auto gone = dropUpTo(computer, *last > 0 ? *last : ALL);
                if (!gone)
                    return std::unexpected(gone.error());
                return *last > 0;
            });
        });
        if (!dropped)
            return std::unexpected(dropped.error());
        more = *dropped;
    }
    return m_database.makingRoom([&] { return m_database.run("DELETE FROM tasks WHERE computer = ?", computer); });
}

// --- By age

Result<double> History::today(double now, double most) {
    const auto today = m_database.makingRoom([&] {
        return m_database.row(
            "UPDATE calendar SET today = min(?1, coalesce(today + ?2, ?1)) RETURNING today",
            [](const Row &row) { return row.real(0); }, now, most);
    });
    if (!today)
        return std::unexpected(today.error());
    return today->value_or(now);
}

// The order is that of the numbers: the clock may have been set back, or have been ahead. What is not older than that
// keeps all that came after it; a time that has not come yet says nothing.
Result<bool> History::dropOld(qint64 computer, double before, double now) {
    const auto kept = m_database.row(
        "SELECT number FROM (SELECT number, received FROM items WHERE computer = ?1 ORDER BY number LIMIT ?4) "
        "WHERE received BETWEEN ?2 AND ?3 LIMIT 1",
        [](const Row &row) { return row.integer(0); }, computer, before, now, DROPPED_AT_ONCE);
    if (!kept)
        return std::unexpected(kept.error());
    const auto last = m_database.row(
        "SELECT max(number) FROM (SELECT number, received FROM items WHERE computer = ? AND number < ? ORDER BY number "
        "LIMIT ?) WHERE received < ?",
        [](const Row &row) { return row.integer(0); }, computer, kept->value_or(std::numeric_limits<qint64>::max()),
        DROPPED_AT_ONCE, before);
    if (!last)
        return std::unexpected(last.error());
    if (last->value_or(0) == 0)
        return false;
    const auto gone =
        m_database.makingRoom([&] { return m_database.transaction([&] { return dropUpTo(computer, **last); }); });
    if (!gone)
        return std::unexpected(gone.error());
    return !kept->has_value();
}

// --- By the limits

Result<bool> History::dropSurplus(qint64 computer) {
    m_sizes.reset();
    return m_database.makingRoom([&] { return dropPictures(computer); });
}

Result<bool> History::dropSurplus() {
    return m_database.makingRoom([&] { return m_database.transaction([&] { return dropBytes(BYTES_AT_ONCE); }); });
}

Result<qint64> History::bytes() {
    const auto sum =
        m_database.row("SELECT coalesce(sum(bytes), 0) FROM computers", [](const Row &row) { return row.integer(0); });
    if (!sum)
        return std::unexpected(sum.error());
    return sum->value_or(0);
}

// Whether there is more: past the limit, and that could be dropped.
Result<bool> History::dropBytes(qint64 most) {
    struct Largest {
        qint64 computer;
        qint64 bytes;
    };
    const auto before = bytes();
    if (!before || *before <= m_limits.bytes)
        return before ? Result<bool>(false) : std::unexpected(before.error());
    const auto wanted = std::max(m_limits.bytes, *before - most);
    auto now = *before;
    while (now > wanted) {
        const auto largest = m_database.row("SELECT id, bytes FROM computers ORDER BY bytes DESC LIMIT 1",
                                            [](const Row &row) { return Largest{row.integer(0), row.integer(1)}; });
        if (!largest)
            return std::unexpected(largest.error());
        const auto last = lastOf((*largest)->computer, now - wanted);
        if (!last)
            return std::unexpected(last.error());
        if (*last == 0)
            return false; // nothing but a task that runs
        if (const auto gone = dropUpTo((*largest)->computer, *last); !gone)
            return std::unexpected(gone.error());
        const auto left = bytes();
        if (!left)
            return std::unexpected(left.error());
        now = *left;
    }
    return now > m_limits.bytes;
}

// The items of those stay: numbers have no gap.
Result<bool> History::dropPictures(qint64 computer) {
    const auto dropped = m_database.run(
        "DELETE FROM pictures WHERE id IN (SELECT id FROM pictures WHERE computer = ?1 AND id <= coalesce((SELECT id "
        "FROM pictures WHERE computer = ?1 ORDER BY id DESC LIMIT 1 OFFSET ?2), 0) LIMIT ?3)",
        computer, m_limits.pictures, DROPPED_AT_ONCE);
    if (!dropped)
        return std::unexpected(dropped.error());
    return m_database.changes() == DROPPED_AT_ONCE;
}

// --- The beginning of a computer's history

Result<qint64> History::lastOf(qint64 computer, qint64 bytes) {
    struct Sized {
        qint64 number;
        qint64 bytes;
    };
    const auto first = m_database.rows(
        "SELECT number, 200 + length(CAST(text AS BLOB)) + coalesce((SELECT length(jpeg) FROM pictures WHERE id = "
        "items.picture), 0) FROM items WHERE computer = ? ORDER BY number LIMIT ?",
        [](const Row &row) { return Sized{row.integer(0), row.integer(1)}; }, computer, DROPPED_AT_ONCE);
    if (!first)
        return std::unexpected(first.error());
    qint64 last = 0;
    qint64 sum = 0;
    for (const auto &item : *first) {
        if (sum >= bytes)
            break;
        sum += item.bytes;
        last = item.number;
    }
    return last;
}

// Also their pictures, and the tasks of which nothing is left.
Result<> History::dropUpTo(qint64 computer, qint64 number) {
    m_sizes.reset();
    const auto task = m_database.row(
        "SELECT max(task) FROM items WHERE computer = ? AND number <= ?", [](const Row &row) { return row.integer(0); },
        computer, number);
    if (!task)
        return std::unexpected(task.error());
    const auto pictures = m_database.run("DELETE FROM pictures WHERE id IN (SELECT picture FROM items WHERE computer = "
                                         "? AND number <= ? AND picture IS NOT NULL)",
                                         computer, number);
    if (!pictures)
        return pictures;
    const auto items = m_database.run("DELETE FROM items WHERE computer = ? AND number <= ?", computer, number);
    if (!items)
        return items;
    return m_database.run("DELETE FROM tasks WHERE computer = ? AND id <= ? AND ended IS NOT NULL AND NOT EXISTS "
                          "(SELECT 1 FROM items WHERE items.task = tasks.id)",
                          computer, task->value_or(0));
}

} // namespace ombru
