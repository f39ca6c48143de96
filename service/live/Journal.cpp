#include "service/live/Journal.h"

#include <algorithm>
#include <iterator>

namespace ombru {

namespace {

constexpr qsizetype OVERHEAD = 256;              // bytes of whatever is told, about
constexpr qsizetype MOST_CHARACTERS = 256 << 10; // of the texts of one answer

qsizetype sizeOf(const Told &told) {
    if (const auto *screenshot = std::get_if<ScreenshotMessage>(&told.message))
        return OVERHEAD + screenshot->jpeg.size();
    const auto *event = std::get_if<EventMessage>(&told.message);
    return event ? OVERHEAD + event->text.size() * qsizetype(sizeof(QChar)) : OVERHEAD;
}

bool isState(const Told &told) {
    return std::holds_alternative<StateMessage>(told.message) || std::holds_alternative<LostMessage>(told.message);
}

} // namespace

Journal::Journal(std::shared_ptr<SerialQueue> queue, StoreQueue &store, JournalStart start)
    : m_queue(std::move(queue)), m_store(store), m_numbering(std::move(start.numbers)),
      m_file(std::move(start.files[0])), m_part{.name = {std::move(start.name), newName()}},
      m_otherFile(std::move(start.files[1])) {}

// --- Into the file

void Journal::tell(Told told) {
    const auto size = sizeOf(told);
    m_bytes[told.computer] += size;
    m_allBytes += size;
    m_waiting.push_back(std::move(told));
    if (m_waiting.size() == 1) // what comes in the same turn goes together
        writeSoon();
}

void Journal::writeSoon() {
    m_queue->post([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->write();
    });
}

void Journal::write() {
    if (m_waiting.empty() && m_owed.empty())
        return;
    m_again.cancel();
    const auto batch = nextBatch();
    if (!m_waiting.empty())
        writeSoon();
    auto draft = m_numbering.draft(batch);
    if (!draft.entries.empty())
        if (const auto written = append(draft.entries); !written)
            return lose(batch, written.error());
    auto entries = std::exchange(draft.entries, {});
    m_numbering.take(std::move(draft));
    if (entries.empty())
        return leave(sizesOf(batch));
    const auto appended = appendedOf(entries);
    for (const auto &[computer, size] : sizesOf(batch)) {
        m_part.sizes[computer] += size;
        m_part.bytes += size;
    }
    std::ranges::move(entries, std::back_inserter(m_part.entries));
    moveInTime();
    m_listener.onAppended(appended);
}

// What is owed was told before.
std::vector<Told> Journal::nextBatch() {
    std::vector<Told> batch;
    for (auto &[computer, told] : std::exchange(m_owed, {})) {
        m_bytes[computer] += OVERHEAD;
        m_allBytes += OVERHEAD;
        batch.push_back(std::move(told));
    }
    qsizetype size = 0;
    auto end = m_waiting.begin();
    while (end != m_waiting.end() && (size == 0 || size + sizeOf(*end) <= MOST_AT_ONCE))
        size += sizeOf(*end++);
    std::ranges::move(m_waiting.begin(), end, std::back_inserter(batch));
    m_waiting.erase(m_waiting.begin(), end);
    return batch;
}

// All or none of them.
Result<> Journal::append(const std::vector<Entry> &entries) {
    if (m_stuck)
        return std::unexpected(*m_stuck);
    QByteArray bytes;
    for (const auto &entry : entries)
        bytes += written(entry);
    return m_file->append(m_file->isEmpty() ? writtenHead(m_part.name) + bytes : bytes);
}

void Journal::lose(const std::vector<Told> &batch, const Failure &failure) {
    owe(batch);
    const auto sizes = sizesOf(batch);
    leave(sizes);
    m_listener.onLost(computersOf(sizes), failure);
}

// At once where others had filled the batch; again and again, but now and then only, where there is no room even for
// that.
void Journal::owe(const std::vector<Told> &batch) {
    for (const auto &told : batch)
        if (isState(told))
            m_owed.insert_or_assign(told.computer, told);
    if (!std::ranges::all_of(batch, isState))
        return writeSoon();
    m_again = m_queue->after(TRIED_AGAIN, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->write();
    });
}

// --- Into the database

void Journal::moveInTime() {
    if (m_onItsWay || m_part.entries.empty())
        return;
    if (m_part.bytes >= MUCH || !m_settledNext.empty())
        return move();
    if (!m_moving.pending())
        m_moving = m_queue->after(MOVED_EVERY, [weak = weak_from_this()] {
            if (const auto self = weak.lock())
                self->move();
        });
}

void Journal::move() {
    m_moving.cancel();
    if (m_onItsWay || m_part.entries.empty())
        return;
    const SegmentName next{m_part.name.next, newName()};
    m_onItsWay = std::make_shared<const Part>(std::exchange(m_part, {.name = next}));
    std::swap(m_file, m_otherFile);
    m_settled = std::exchange(m_settledNext, {});
    send();
}

// The file is emptied once all of it is kept, and before anything else is.
void Journal::send() {
    m_store.post([weak = weak_from_this(), part = m_onItsWay, file = m_otherFile](Store &store) {
        auto done = store.history.keep(part->entries, part->name);
        if (done)
            done = file->clear();
        if (const auto here = weak.lock())
            here->m_queue->post([weak, done] {
                if (const auto self = weak.lock())
                    self->moved(done);
            });
    });
}

void Journal::moved(const Result<> &moved) {
    auto settled = std::exchange(m_settled, {});
    if (moved) {
        leave(std::exchange(m_onItsWay, {})->sizes);
        if (std::exchange(m_stuck, {}))
            m_listener.onRoom();
    } else {
        std::ranges::move(std::exchange(m_settledNext, {}), std::back_inserter(settled));
        m_moving = m_queue->after(TRIED_AGAIN, [weak = weak_from_this()] {
            if (const auto self = weak.lock())
                self->send();
        });
        if (!std::exchange(m_stuck, moved.error()))
            m_listener.onLost(computersOf(m_onItsWay->sizes), *m_stuck);
    }
    for (auto &job : settled)
        job();
    moveInTime();
}

void Journal::tryAgain() {
    if (!m_stuck || !m_moving.pending())
        return;
    m_moving.cancel();
    send();
}

void Journal::settle(Job done) {
    if (m_stuck || (!m_onItsWay && m_part.entries.empty()))
        return done();
    (m_part.entries.empty() ? m_settled : m_settledNext).push_back(std::move(done));
    moveInTime();
}

// --- What is not there yet

// In the order of their numbers.
template <class Wanted>
const Entry *Journal::find(Wanted isWanted) const {
    const auto among = [&](const std::vector<Entry> &entries) {
        const auto found = std::ranges::find_if(
            entries, [&](const Entry &entry) { return entry.item && !isForgotten(*entry.item) && isWanted(entry); });
        return found == entries.end() ? nullptr : &*found;
    };
    const auto *first = m_onItsWay ? among(m_onItsWay->entries) : nullptr;
    return first ? first : among(m_part.entries);
}

bool Journal::isForgotten(const Item &item) const {
    const auto its = m_forgotten.find(item.computer);
    return its != m_forgotten.end() && item.number <= its->second;
}

std::optional<qint64> Journal::firstOf(qint64 computer) const {
    const auto *first = find([=](const Entry &entry) { return entry.computer == computer; });
    return first ? std::optional(first->item->number) : std::nullopt;
}

std::vector<Item> Journal::itemsAfter(qint64 computer, qint64 after, std::size_t most) const {
    std::vector<Item> items;
    qsizetype characters = 0;
    find([&](const Entry &entry) {
        if (entry.computer != computer || entry.item->number <= after)
            return false;
        items.push_back(*entry.item);
        characters += entry.item->text.size();
        return items.size() >= most || characters >= MOST_CHARACTERS;
    });
    return items;
}

std::optional<History::Picture> Journal::picture(qint64 picture) const {
    const auto *its = find([=](const Entry &entry) { return entry.item->picture == picture; });
    return its ? std::optional(History::Picture{its->computer, its->jpeg}) : std::nullopt;
}

// --- Room

Journal::Sizes Journal::sizesOf(const std::vector<Told> &batch) {
    Sizes sizes;
    for (const auto &told : batch)
        sizes[told.computer] += sizeOf(told);
    return sizes;
}

std::set<qint64> Journal::computersOf(const Sizes &sizes) {
    std::set<qint64> computers;
    for (const auto &[computer, size] : sizes)
        computers.insert(computer);
    return computers;
}

bool Journal::hasRoom(qint64 computer) const {
    const auto its = m_bytes.find(computer);
    return m_allBytes < MOST_OF_ALL && (its == m_bytes.end() || its->second < MOST_OF_ONE);
}

void Journal::whenRoom(qint64 computer, Job job) {
    m_forRoom.insert_or_assign(computer, std::move(job));
}

void Journal::leave(const Sizes &sizes) {
    for (const auto &[computer, size] : sizes) {
        m_allBytes -= size;
        if ((m_bytes[computer] -= size) == 0)
            m_bytes.erase(computer);
    }
    for (auto &[computer, job] : std::exchange(m_forRoom, {})) {
        if (hasRoom(computer))
            job();
        else
            m_forRoom.try_emplace(computer, std::move(job));
    }
}

} // namespace ombru
