#include "service/store/History.h"

#include "service/store/TaskRow.h"

#include <set>

namespace ombru {

namespace {

constexpr qsizetype MOST_AT_ONCE = 6 << 20; // bytes of one piece: the store's reserve has room for it

qsizetype sizeOf(const Entry &entry) {
    return entry.jpeg.size() + (entry.item ? entry.item->text.size() : 0);
}

// As many as go together; one at least.
std::size_t countOfPiece(std::span<const Entry> entries) {
    std::size_t count = 0;
    qsizetype size = 0;
    while (count < entries.size() && (count == 0 || size + sizeOf(entries[count]) <= MOST_AT_ONCE))
        size += sizeOf(entries[count++]);
    return count;
}

} // namespace

struct History::Keeping {
    History &history;
    std::unordered_map<qint64, std::optional<qint64>> lastNumbers = {}; // none of a computer that is not there
    std::set<qint64> pictured = {};
    Sizes sizes = {}; // of those that have told something

    Result<std::optional<qint64> *> lastNumber(qint64 computer) {
        if (const auto here = lastNumbers.find(computer); here != lastNumbers.end())
            return &here->second;
        const auto known = history.m_database.row(
            "SELECT last_number FROM computers WHERE id = ?", [](const Row &row) { return row.integer(0); }, computer);
        if (!known)
            return std::unexpected(known.error());
        return &lastNumbers.emplace(computer, *known).first->second;
    }

    Result<> addTask(const TaskChange &change) {
        const auto &task = change.task;
        if (change.begun)
            return history.m_database.run("INSERT INTO tasks (id, computer, text, source, began, outcome) "
                                          "VALUES (?, ?, ?, ?, ?, ?)",
                                          task.id, task.computer, task.text, task.from, task.began, task.outcome);
        return history.m_database.run(
            "UPDATE tasks SET ended = ?, steps = ?, outcome = ?, answer = ?, lost = ? WHERE id = ?", task.ended,
            task.steps, task.outcome, task.answer, change.lost, task.id);
    }

    Result<> addItem(const Entry &entry, const Item &item) {
        if (item.picture) {
            pictured.insert(item.computer);
            const auto added = history.m_database.run("INSERT INTO pictures (id, computer, jpeg) VALUES (?, ?, ?)",
                                                      *item.picture, item.computer, entry.jpeg);
            if (!added)
                return added;
        }
        return history.m_database.run(
            "INSERT INTO items (computer, number, task, step, time, received, kind, text, cut_from, picture) "
            "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
            item.computer, item.number, item.task, item.step, item.time, entry.received, item.kind, item.text,
            item.cutFrom, item.picture);
    }

    // What is there already, or was and has been forgotten, is passed over. Where tasks stand is not: each says it
    // anew, and the last one counts.
    Result<> add(const Entry &entry) {
        const auto last = lastNumber(entry.computer);
        if (!last)
            return std::unexpected(last.error());
        auto &number = **last;
        if (!number)
            return {};
        const bool isThere = entry.item && entry.item->number <= *number;
        for (const auto &change : entry.tasks)
            if (!isThere || !change.begun)
                if (const auto added = addTask(change); !added)
                    return added;
        if (!entry.item || isThere)
            return {};
        number = entry.item->number;
        return addItem(entry, *entry.item);
    }

    Result<> dropPictures() {
        for (const auto computer : pictured)
            if (const auto dropped = history.dropPictures(computer); !dropped)
                return std::unexpected(dropped.error());
        return {};
    }

    // With what there is of each: to ask for the sum of all takes longer than all else.
    Result<> keepNumbers() {
        for (const auto &[computer, number] : lastNumbers) {
            if (!number)
                continue;
            const auto bytes = history.m_database.row(
                "UPDATE computers SET last_number = ? WHERE id = ? RETURNING bytes",
                [](const Row &row) { return row.integer(0); }, number, computer);
            if (!bytes)
                return std::unexpected(bytes.error());
            sizes.set(computer, bytes->value_or(0));
        }
        return {};
    }

    // At once, so that there is never more.
    Result<> keepLimits() {
        const auto sum = history.m_sizes->sumWith(sizes);
        if (sum <= history.m_limits.bytes)
            return {};
        const auto dropped = history.dropBytes(2 * std::max<qint64>(0, sum - history.m_sizes->sum()));
        return dropped ? Result<>() : std::unexpected(dropped.error());
    }
};

Result<> History::begin() {
    const auto lost = m_database.run(
        "UPDATE tasks SET outcome = 'unknown', lost = 1, ended = max(began, coalesce((SELECT max(received) FROM items "
        "WHERE items.task = tasks.id), began)) WHERE ended IS NULL");
    if (!lost)
        return lost;
    return m_database.run(
        "UPDATE computers SET seen = last.received FROM (SELECT computer, received, max(number) FROM "
        "items GROUP BY computer) AS last WHERE last.computer = id AND last.received > coalesce(seen, 0)");
}

Result<Numbering::State> History::numbers() {
    Numbering::State state;
    const auto numbers = m_database.rows("SELECT id, last_number FROM computers",
                                         [](const Row &row) { return std::pair(row.integer(0), row.integer(1)); });
    const auto tasks = m_database.rows(
        "SELECT id, computer, text, source, began, ended, steps, outcome, answer, lost FROM tasks WHERE id IN (SELECT "
        "max(id) FROM tasks GROUP BY computer)",
        [](const Row &row) { return std::pair(readTask(row), row.boolean(9)); });
    const auto last = [&](const char *question) {
        return m_database.row(question, [](const Row &row) { return row.integer(0); });
    };
    const auto task = last("SELECT seq FROM sqlite_sequence WHERE name = 'tasks'");
    const auto picture = last("SELECT seq FROM sqlite_sequence WHERE name = 'pictures'");
    if (!numbers || !tasks)
        return std::unexpected(!numbers ? numbers.error() : tasks.error());
    if (!task || !picture)
        return std::unexpected(!task ? task.error() : picture.error());
    for (const auto &[computer, number] : *numbers)
        state.books[computer].lastNumber = number;
    for (const auto &[its, lost] : *tasks)
        state.books[its.computer].tasks = TaskBook(its, lost);
    state.lastTask = task->value_or(0);
    state.lastPicture = picture->value_or(0);
    return state;
}

Result<> History::keep(std::span<const Entry> entries, const SegmentName &name) {
    do {
        const auto count = countOfPiece(entries);
        const auto piece = entries.first(count);
        entries = entries.subspan(count);
        const auto *whole = entries.empty() ? &name : nullptr;
        if (const auto kept = m_database.keeping([&] { return keepPiece(piece, whole); }); !kept)
            return kept;
    } while (!entries.empty());
    return {};
}

Result<> History::keepPiece(std::span<const Entry> entries, const SegmentName *name) {
    if (const auto known = knowSizes(); !known)
        return known;
    Keeping keeping{*this};
    const auto kept = m_database.transaction([&]() -> Result<> {
        for (const auto &entry : entries)
            if (const auto added = keeping.add(entry); !added)
                return added;
        if (const auto dropped = keeping.dropPictures(); !dropped)
            return dropped;
        if (const auto counted = keeping.keepNumbers(); !counted)
            return counted;
        if (const auto limited = keeping.keepLimits(); !limited)
            return limited;
        return name ? m_database.run("UPDATE journal SET next = ?, last = ?", name->next, name->own) : Result<>();
    });
    if (kept && m_sizes)
        m_sizes->take(keeping.sizes);
    return kept;
}

Result<History::Parts> History::parts() {
    const auto parts = m_database.row("SELECT next, last FROM journal",
                                      [](const Row &row) { return Parts{row.bytes(0), row.bytes(1)}; });
    if (!parts)
        return std::unexpected(parts.error());
    return parts->value_or(Parts());
}

Result<> History::expect(const QByteArray &next) {
    return m_database.run("UPDATE journal SET next = ?, last = NULL", next);
}

Result<> History::knowSizes() {
    if (m_sizes)
        return {};
    const auto read = m_database.rows("SELECT id, bytes FROM computers",
                                      [](const Row &row) { return std::pair(row.integer(0), row.integer(1)); });
    if (!read)
        return std::unexpected(read.error());
    m_sizes.emplace();
    for (const auto &[computer, bytes] : *read)
        m_sizes->set(computer, bytes);
    return {};
}

} // namespace ombru
