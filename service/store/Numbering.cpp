#include "service/store/Numbering.h"

#include "base/Text.h"

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

} // namespace

struct Numbering::Writer {
    const State &before;
    Draft draft = {};

    Book &bookOf(qint64 computer) {
        const auto known = before.books.find(computer);
        return draft.after.books.try_emplace(computer, known == before.books.end() ? Book() : known->second)
            .first->second;
    }

    static void note(Entry &entry, const TaskBook &book, bool begun = false) {
        entry.tasks.push_back({*book.task(), book.isLost(), begun});
    }

    static void addItem(Book &book, Entry &entry, Item item) {
        item.number = ++book.lastNumber;
        item.computer = entry.computer;
        if (book.tasks.isRunning())
            item.task = book.tasks.task()->id;
        entry.item = std::move(item);
    }

    void add(Book &book, Entry &entry, const Told &told, const EventMessage &event) {
        if (auto task = TaskBook::begunBy(event, told.received)) {
            if (book.tasks.end(told.received))
                note(entry, book.tasks);
            task->id = ++draft.after.lastTask;
            task->computer = told.computer;
            task->text = shortened(task->text, 0).text;
            book.tasks.begin(*std::move(task));
            note(entry, book.tasks, true);
        }
        const auto [text, from] = shortened(event.text, told.cut);
        book.tasks.note({event.kind, text, event.time});
        addItem(book, entry,
                {.step = book.tasks.step(),
                 .time = timeOf(event.time, told),
                 .kind = event.kind,
                 .text = text,
                 .cutFrom = from});
    }

    void add(Book &book, Entry &entry, const Told &told, const ScreenshotMessage &screenshot) {
        if (!screenshot.jpeg.startsWith(JPEG))
            return;
        if (book.tasks.noteStep(screenshot.step))
            note(entry, book.tasks);
        entry.jpeg = screenshot.jpeg;
        addItem(book, entry,
                {.step = screenshot.step,
                 .time = timeOf(screenshot.time, told),
                 .kind = u"picture"_s,
                 .picture = ++draft.after.lastPicture});
    }

    void add(Book &book, Entry &entry, const Told &told, const StateMessage &state) {
        if (book.tasks.note(state, told.received))
            note(entry, book.tasks);
    }

    void add(Book &book, Entry &entry, const Told &told, const LostMessage & /*message*/) {
        if (book.tasks.lose(told.received))
            note(entry, book.tasks);
    }

    void add(const Told &told) {
        Entry entry{.computer = told.computer, .received = told.received};
        auto &book = bookOf(told.computer);
        std::visit([&](const auto &message) { add(book, entry, told, message); }, told.message);
        if (entry.item || !entry.tasks.empty())
            draft.entries.push_back(std::move(entry));
    }
};

Numbering::Draft Numbering::draft(std::span<const Told> told) const {
    Writer writer{m_state};
    writer.draft.after.lastTask = m_state.lastTask;
    writer.draft.after.lastPicture = m_state.lastPicture;
    for (const auto &each : told)
        writer.add(each);
    return std::move(writer.draft);
}

void Numbering::take(Draft draft) {
    for (auto &[computer, book] : draft.after.books)
        m_state.books[computer] = std::move(book);
    m_state.lastTask = draft.after.lastTask;
    m_state.lastPicture = draft.after.lastPicture;
}

qint64 Numbering::forget(qint64 computer) {
    const auto its = m_state.books.find(computer);
    if (its == m_state.books.end())
        return 0;
    its->second.tasks = {};
    return its->second.lastNumber;
}

Appended appendedOf(std::span<const Entry> entries) {
    Appended all;
    for (const auto &entry : entries) {
        for (const auto &change : entry.tasks)
            all.tasks.push_back(change.task);
        if (entry.item)
            all.items.push_back(*entry.item);
    }
    return all;
}

} // namespace ombru
