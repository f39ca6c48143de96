#include "service/store/History.h"

#include "base/Text.h"
#include "service/store/TaskRow.h"

#include <set>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr QByteArrayView JPEG = "\xFF\xD8\xFF";

struct Shortened {
    QString text;
    std::optional<qint64> from;
};

Shortened shortened(const QString &text, qint64 alreadyCut) {
    const auto bytes = text.toUtf8().size();
    if (bytes <= MOST_TEXT)
        return {text, alreadyCut > 0 ? std::optional(bytes + alreadyCut) : std::nullopt};
    return {firstBytes(text, MOST_TEXT), bytes + alreadyCut};
}

// What a computer does not say, or what is no time of a calendar, is when it was received.
double timeOf(double said, const Told &told) {
    constexpr double LAST = 253'402'300'800; // seconds, of the year 9999
    return said > 0 && said < LAST ? said : told.received;
}

struct KeptTask {
    TaskRecord task;
    bool lost;
};

} // namespace

// Numbers, tasks and rows of what is told together; only what has become of it all is taken over.
struct History::Writer {
    History &history;
    std::unordered_map<qint64, Book> books = {};
    Appended appended = {};
    std::set<qint64> pictured = {};
    Sizes sizes = {}; // of those that have told something

    Result<Book *> bookOf(qint64 computer) {
        if (const auto here = books.find(computer); here != books.end())
            return &here->second;
        const auto known = history.book(computer);
        if (!known)
            return std::unexpected(known.error());
        return &books.emplace(computer, *known).first->second;
    }

    Result<> keepTask(const Book &book) {
        appended.tasks.push_back(*book.tasks.task());
        return history.keepTask(book.tasks);
    }

    Result<> addItem(Book &book, const Told &told, Item item) {
        item.number = ++book.lastNumber;
        item.computer = told.computer;
        if (book.tasks.isRunning())
            item.task = book.tasks.task()->id;
        const auto added = history.m_database.run(
            "INSERT INTO items (computer, number, task, step, time, received, kind, text, cut_from, picture) "
            "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
            item.computer, item.number, item.task, item.step, item.time, told.received, item.kind, item.text,
            item.cutFrom, item.picture);
        if (added)
            appended.items.push_back(std::move(item));
        return added;
    }

    Result<> beginTask(Book &book, const Told &told, TaskRecord task) {
        if (book.tasks.end(told.received))
            if (const auto kept = keepTask(book); !kept)
                return kept;
        task.computer = told.computer;
        task.text = shortened(task.text, 0).text;
        const auto added =
            history.m_database.run("INSERT INTO tasks (computer, text, source, began, outcome) VALUES (?, ?, ?, ?, ?)",
                                   task.computer, task.text, task.from, task.began, task.outcome);
        if (!added)
            return added;
        task.id = history.m_database.lastId();
        book.tasks.begin(std::move(task));
        appended.tasks.push_back(*book.tasks.task());
        return {};
    }

    Result<> add(Book &book, const Told &told, const EventMessage &event) {
        if (auto task = TaskBook::begunBy(event, told.received))
            if (const auto begun = beginTask(book, told, *std::move(task)); !begun)
                return begun;
        const auto [text, from] = shortened(event.text, told.cut);
        book.tasks.note({event.kind, text, event.time});
        return addItem(book, told,
                       {.step = book.tasks.step(),
                        .time = timeOf(event.time, told),
                        .kind = event.kind,
                        .text = text,
                        .cutFrom = from});
    }

    Result<> add(Book &book, const Told &told, const ScreenshotMessage &screenshot) {
        if (!screenshot.jpeg.startsWith(JPEG))
            return {};
        const auto added = history.m_database.run("INSERT INTO pictures (computer, jpeg) VALUES (?, ?)", told.computer,
                                                  screenshot.jpeg);
        if (!added)
            return added;
        const auto picture = history.m_database.lastId();
        pictured.insert(told.computer);
        if (book.tasks.noteStep(screenshot.step))
            if (const auto kept = keepTask(book); !kept)
                return kept;
        return addItem(
            book, told,
            {.step = screenshot.step, .time = timeOf(screenshot.time, told), .kind = u"picture"_s, .picture = picture});
    }

    Result<> add(Book &book, const Told &told, const StateMessage &state) {
        return book.tasks.note(state, told.received) ? keepTask(book) : Result<>();
    }

    Result<> add(Book &book, const Told &told, const LostMessage & /*message*/) {
        return book.tasks.lose(told.received) ? keepTask(book) : Result<>();
    }

    Result<> add(const Told &told) {
        const auto book = bookOf(told.computer);
        if (!book)
            return std::unexpected(book.error());
        return std::visit([&](const auto &message) { return add(**book, told, message); }, told.message);
    }

    Result<> dropPictures() {
        for (const auto computer : pictured)
            if (const auto dropped = history.dropPictures(computer); !dropped)
                return std::unexpected(dropped.error());
        return {};
    }

    // With what there is of each: to ask for the sum of all takes longer than all else.
    Result<> keepNumbers() {
        for (const auto &[computer, book] : books) {
            const auto bytes = history.m_database.row(
                "UPDATE computers SET last_number = ? WHERE id = ? RETURNING bytes",
                [](const Row &row) { return row.integer(0); }, book.lastNumber, computer);
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
    m_books.clear();
    if (!lost)
        return lost;
    return m_database.run(
        "UPDATE computers SET seen = last.received FROM (SELECT computer, received, max(number) FROM "
        "items GROUP BY computer) AS last WHERE last.computer = id AND last.received > coalesce(seen, 0)");
}

Result<Appended> History::append(std::span<const Told> told) {
    return m_database.keeping([&] { return appendOnce(told); });
}

Result<Appended> History::appendOnce(std::span<const Told> told) {
    if (const auto known = knowSizes(); !known)
        return std::unexpected(known.error());
    Writer writer{*this};
    const auto written = m_database.transaction([&]() -> Result<> {
        for (const auto &each : told)
            if (const auto added = writer.add(each); !added)
                return added;
        if (const auto dropped = writer.dropPictures(); !dropped)
            return dropped;
        if (const auto kept = writer.keepNumbers(); !kept)
            return kept;
        return writer.keepLimits();
    });
    if (!written)
        return std::unexpected(written.error());
    if (m_sizes)
        m_sizes->take(writer.sizes);
    for (auto &[computer, book] : writer.books)
        m_books[computer] = std::move(book);
    return std::move(writer.appended);
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

Result<History::Book> History::book(qint64 computer) {
    if (const auto known = m_books.find(computer); known != m_books.end())
        return known->second;
    const auto number = m_database.row(
        "SELECT last_number FROM computers WHERE id = ?", [](const Row &row) { return row.integer(0); }, computer);
    if (!number)
        return std::unexpected(number.error());
    const auto last = m_database.row(
        "SELECT id, computer, text, source, began, ended, steps, outcome, answer, lost FROM tasks WHERE computer = ? "
        "ORDER BY id DESC LIMIT 1",
        [](const Row &row) { return KeptTask{readTask(row), row.boolean(9)}; }, computer);
    if (!last)
        return std::unexpected(last.error());
    Book book;
    book.lastNumber = number->value_or(0);
    if (*last)
        book.tasks = TaskBook((*last)->task, (*last)->lost);
    return book;
}

Result<> History::keepTask(const TaskBook &book) {
    const auto &task = *book.task();
    return m_database.run("UPDATE tasks SET ended = ?, steps = ?, outcome = ?, answer = ?, lost = ? WHERE id = ?",
                          task.ended, task.steps, task.outcome, task.answer, book.isLost(), task.id);
}

} // namespace ombru
