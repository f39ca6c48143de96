// What is asked of the history.

#include "service/store/History.h"
#include "service/store/TaskRow.h"

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype MOST_CHARACTERS = 256 << 10; // of the texts of one answer
constexpr qsizetype LONGEST_LINE = 200;          // characters that are shown of what was found

Item readItem(const Row &row) {
    return {row.integer(0),     row.integer(1), row.maybeInteger(2), static_cast<int>(row.integer(3)),
            row.real(4),        row.text(5),    row.text(6),         row.maybeInteger(7),
            row.maybeInteger(8)};
}

// The first ones that are not too long together.
void keepFew(std::vector<Item> &items, qsizetype most) {
    qsizetype characters = 0;
    std::size_t count = 0;
    while (count < items.size() && (count == 0 || characters + items[count].text.size() <= most))
        characters += items[count++].text.size();
    items.resize(count);
}

// The line of it that says it; of a long one what is around.
QString lineWith(const QString &text, const QString &words) {
    const auto at = std::max<qsizetype>(0, text.indexOf(words, 0, Qt::CaseInsensitive));
    const auto begin = at == 0 ? 0 : text.lastIndexOf(u'\n', at - 1) + 1;
    const auto found = text.indexOf(u'\n', at + words.size());
    const auto end = found < 0 ? text.size() : found;
    if (end - begin <= LONGEST_LINE)
        return text.sliced(begin, end - begin).trimmed();
    auto from = std::max(begin, at - LONGEST_LINE / 4);
    auto to = std::min(end, std::max(at + words.size(), from + LONGEST_LINE));
    from += text[from].isLowSurrogate() ? 1 : 0;
    to -= to < end && text[to].isLowSurrogate() ? 1 : 0;
    return (from > begin ? u"…"_s : QString()) + text.sliced(from, to - from).trimmed() +
           (to < end ? u"…"_s : QString());
}

} // namespace

Result<std::vector<Item>> History::itemsAfter(qint64 computer, qint64 after, int most) {
    auto items = m_database.rows("SELECT number, computer, task, step, time, kind, text, cut_from, picture FROM items "
                                 "WHERE computer = ? AND number > ? ORDER BY number LIMIT ?",
                                 readItem, computer, after, most);
    if (items)
        keepFew(*items, MOST_CHARACTERS);
    return items;
}

Result<History::TaskItems> History::itemsOfTask(qint64 task, int most) {
    auto items = m_database.rows("SELECT number, computer, task, step, time, kind, text, cut_from, picture FROM items "
                                 "WHERE task = ? ORDER BY number DESC LIMIT ?",
                                 readItem, task, most + 1);
    if (!items)
        return std::unexpected(items.error());
    const auto found = items->size();
    if (found > static_cast<std::size_t>(most))
        items->pop_back();
    keepFew(*items, 16 * MOST_CHARACTERS);
    std::ranges::reverse(*items);
    const bool cut = items->size() < found;
    return TaskItems{*std::move(items), cut};
}

Result<std::optional<TaskRecord>> History::task(qint64 task) {
    return m_database.row(
        "SELECT id, computer, text, source, began, ended, steps, outcome, answer FROM tasks WHERE id = ?", readTask,
        task);
}

Result<std::map<qint64, TaskRecord>> History::lastTasks() {
    const auto tasks = m_database.rows("SELECT id, computer, text, source, began, ended, steps, outcome, answer FROM "
                                       "tasks WHERE id IN (SELECT max(id) FROM tasks GROUP BY computer)",
                                       readTask);
    if (!tasks)
        return std::unexpected(tasks.error());
    std::map<qint64, TaskRecord> last;
    for (const auto &task : *tasks)
        last.emplace(task.computer, task);
    return last;
}

Result<std::map<qint64, Item>> History::lastPictures() {
    const auto items = m_database.rows("SELECT number, computer, task, step, time, kind, text, cut_from, picture FROM "
                                       "items WHERE picture IN (SELECT max(id) FROM pictures GROUP BY computer)",
                                       readItem);
    if (!items)
        return std::unexpected(items.error());
    std::map<qint64, Item> last;
    for (const auto &item : *items)
        last.emplace(item.computer, item);
    return last;
}

Result<std::vector<TaskRecord>> History::tasks(const TaskSearch &search) {
    return m_database.rows(
        "SELECT id, computer, text, source, began, ended, steps, outcome, answer FROM tasks WHERE computer = ?1 AND "
        "id < ?2 AND (?3 = '' OR says(text, ?3) OR says(answer, ?3) OR EXISTS (SELECT 1 FROM items WHERE items.task = "
        "tasks.id AND says(items.text, ?3))) ORDER BY id DESC LIMIT ?4",
        readTask, search.computer, search.before.value_or(std::numeric_limits<qint64>::max()), search.words,
        search.most);
}

Result<qint64> History::countTasks(qint64 computer) {
    const auto count = m_database.row(
        "SELECT count(*) FROM tasks WHERE computer = ?", [](const Row &row) { return row.integer(0); }, computer);
    if (!count)
        return std::unexpected(count.error());
    return count->value_or(0);
}

Result<std::optional<History::Match>> History::match(qint64 task, const QString &words) {
    return m_database.row(
        "SELECT step, kind, text FROM items WHERE task = ?1 AND says(text, ?2) ORDER BY number LIMIT 1",
        [&](const Row &row) {
            return Match{static_cast<int>(row.integer(0)), row.text(1), lineWith(row.text(2), words)};
        },
        task, words);
}

Result<std::optional<History::Picture>> History::picture(qint64 picture) {
    return m_database.row(
        "SELECT computer, jpeg FROM pictures WHERE id = ?",
        [](const Row &row) { return Picture{row.integer(0), row.bytes(1)}; }, picture);
}

} // namespace ombru
