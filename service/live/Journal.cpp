#include "service/live/Journal.h"

#include <algorithm>
#include <iterator>

namespace ombru {

namespace {

constexpr qsizetype OVERHEAD = 256; // bytes of whatever is told, about

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

void Journal::tell(Told told) {
    const auto size = sizeOf(told);
    m_bytes[told.computer] += size;
    m_allBytes += size;
    m_waiting.push_back(std::move(told));
    if (m_waiting.size() == 1 && !m_sending) // what comes in the same turn goes together
        sendSoon();
}

void Journal::sendSoon() {
    m_queue.post([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->send();
    });
}

void Journal::send() {
    if (m_sending || (m_waiting.empty() && m_owed.empty()))
        return;
    m_sending = true;
    m_again.cancel();
    m_store.post([weak = weak_from_this(), &queue = m_queue, batch = nextBatch()](Store &store) mutable {
        auto appended = store.history.append(batch);
        queue.post([weak, batch = std::move(batch), appended = std::move(appended)]() mutable {
            if (const auto self = weak.lock())
                self->sent(batch, std::move(appended));
        });
    });
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

void Journal::sent(const std::vector<Told> &batch, Result<Appended> appended) {
    m_sending = false;
    if (!appended)
        owe(batch);
    if (!m_waiting.empty())
        send();
    makeRoom(batch);
    if (appended)
        return m_listener.onAppended(*std::move(appended));
    std::set<qint64> computers;
    for (const auto &told : batch)
        computers.insert(told.computer);
    m_listener.onLost(computers, appended.error());
}

// At once where others had filled the batch; again and again, but now and then only, where there is no room even for
// that.
void Journal::owe(const std::vector<Told> &batch) {
    for (const auto &told : batch)
        if (isState(told))
            m_owed.insert_or_assign(told.computer, told);
    if (!std::ranges::all_of(batch, isState))
        return sendSoon();
    m_again = m_queue.after(TRIED_AGAIN, [weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->send();
    });
}

bool Journal::hasRoom(qint64 computer) const {
    const auto its = m_bytes.find(computer);
    return m_allBytes < MOST_OF_ALL && (its == m_bytes.end() || its->second < MOST_OF_ONE);
}

void Journal::whenRoom(qint64 computer, Job job) {
    m_forRoom.insert_or_assign(computer, std::move(job));
}

void Journal::makeRoom(const std::vector<Told> &batch) {
    for (const auto &told : batch) {
        const auto size = sizeOf(told);
        m_allBytes -= size;
        if ((m_bytes[told.computer] -= size) == 0)
            m_bytes.erase(told.computer);
    }
    for (auto &[computer, job] : std::exchange(m_forRoom, {})) {
        if (hasRoom(computer))
            job();
        else
            m_forRoom.try_emplace(computer, std::move(job));
    }
}

} // namespace ombru
