// The way of what computers tell into the store: one batch at a time, so that much at once costs one commit. What could
// not be kept is dropped, and told so; but where a computer's task stands is told again until it is kept. What waits is
// bounded when whoever has told stops while there is no room. On a queue.
#pragma once
#include "service/store/StoreQueue.h"

#include <functional>
#include <set>

namespace ombru {

class Journal : public std::enable_shared_from_this<Journal> {
public:
    struct Listener {
        std::function<void(Appended)> onAppended; // it is kept
        // None of what these have told was kept.
        std::function<void(const std::set<qint64> &computers, const Failure &)> onLost;
    };
    static constexpr qsizetype MOST_OF_ONE = 8 << 20;   // bytes of a computer that wait for a slow disk
    static constexpr qsizetype MOST_OF_ALL = 256 << 20; // of all
    static constexpr qsizetype MOST_AT_ONCE = 6 << 20;  // bytes of one batch: the store's reserve has room for it
    static constexpr Clock::Duration TRIED_AGAIN = std::chrono::seconds(5);

    Journal(SerialQueue &queue, StoreQueue &store) : m_queue(queue), m_store(store) {}

    void start(Listener listener) { m_listener = std::move(listener); }
    void tell(Told told);
    bool isIdle() const { return m_waiting.empty() && !m_sending; } // all is kept, or dropped

    bool hasRoom(qint64 computer) const;
    void whenRoom(qint64 computer, Job job); // once; in place of an earlier one of that computer

private:
    void sendSoon();
    void send();
    void sent(const std::vector<Told> &batch, Result<Appended> appended);
    void owe(const std::vector<Told> &batch);
    void makeRoom(const std::vector<Told> &batch);
    std::vector<Told> nextBatch();

    SerialQueue &m_queue;
    StoreQueue &m_store;
    Listener m_listener;
    std::vector<Told> m_waiting;
    std::map<qint64, Told> m_owed; // the last states that were lost
    Timer m_again;
    std::map<qint64, qsizetype> m_bytes; // of those that wait, or are on their way
    qsizetype m_allBytes = 0;
    std::map<qint64, Job> m_forRoom;
    bool m_sending = false;
};

} // namespace ombru
