// The way of what computers tell: numbered, written to the journal, shown, and later moved into the database, much at
// once. What is written survives the end of the program, so pages need not wait for the database, and what belongs
// together by its numbers is in one place here until it is there. On a queue.
//
// The journal has two files in turns: one is written while what is in the other one is moved, which is then emptied.
// What could not be written, or comes while the database has no room for what is written, is dropped, and told so; but
// where a computer's task stands is told again until it is kept. What waits is bounded when whoever has told stops
// while there is no room.
#pragma once
#include "service/store/StoreQueue.h"

#include <functional>
#include <set>

namespace ombru {

class Journal : public std::enable_shared_from_this<Journal> {
public:
    struct Listener {
        std::function<void(Appended)> onAppended; // it is kept
        // None of what these have told was kept, or what they have told cannot be moved.
        std::function<void(const std::set<qint64> &computers, const Failure &)> onLost;
        std::function<void()> onRoom; // the database has room again
    };
    static constexpr qsizetype MOST_OF_ONE = 8 << 20;  // bytes of a computer that wait for a slow disk
    static constexpr qsizetype MOST_OF_ALL = 64 << 20; // of all
    static constexpr qsizetype MOST_AT_ONCE = 1 << 20; // bytes that are written together
    static constexpr qsizetype MUCH = 4 << 20;         // bytes: moved without waiting for more
    static constexpr Clock::Duration MOVED_EVERY = std::chrono::seconds(2);
    static constexpr Clock::Duration TRIED_AGAIN = std::chrono::seconds(5);

    Journal(std::shared_ptr<SerialQueue> queue, StoreQueue &store, JournalStart start);

    void start(Listener listener) { m_listener = std::move(listener); }
    void tell(Told told);
    bool isWritten() const { return m_waiting.empty(); } // all that was told, or dropped

    bool hasRoom(qint64 computer) const;
    void whenRoom(qint64 computer, Job job); // once; in place of an earlier one of that computer

    // Once all that has been shown is in the database, or could not be moved there.
    void settle(Job done);
    bool isStuck() const { return m_stuck.has_value(); } // since the database has no room
    void tryAgain();                                     // there may be room now

    // What is not in the database yet; all of it behind the first one.
    std::optional<qint64> firstOf(qint64 computer) const;
    std::vector<Item> itemsAfter(qint64 computer, qint64 after, std::size_t most) const;
    std::optional<History::Picture> picture(qint64 picture) const;

    // Nothing that comes belongs to a task of before; gives the number up to which all is to be forgotten.
    qint64 forget(qint64 computer) { return m_numbering.forget(computer); }
    void forgotten(qint64 computer, qint64 upTo) { m_forgotten[computer] = upTo; }

private:
    using Sizes = std::map<qint64, qsizetype>; // by computer
    struct Part {
        SegmentName name = {};
        std::vector<Entry> entries = {};
        Sizes sizes = {};
        qsizetype bytes = 0;
    };
    void writeSoon();
    void write();
    std::vector<Told> nextBatch();
    Result<> append(const std::vector<Entry> &entries);
    void lose(const std::vector<Told> &batch, const Failure &failure);
    void owe(const std::vector<Told> &batch);

    void moveInTime();
    void move();
    void send();
    void moved(const Result<> &moved);

    void leave(const Sizes &sizes);
    static Sizes sizesOf(const std::vector<Told> &batch);
    static std::set<qint64> computersOf(const Sizes &sizes);
    template <class Wanted>
    const Entry *find(Wanted isWanted) const;
    bool isForgotten(const Item &item) const;

    const std::shared_ptr<SerialQueue> m_queue; // the store's thread may be posting to it when all else goes
    StoreQueue &m_store;
    Listener m_listener;
    std::vector<Told> m_waiting;   // to be written
    std::map<qint64, Told> m_owed; // the last states that were lost
    Timer m_again;

    Numbering m_numbering;
    std::shared_ptr<JournalFile> m_file; // that is written
    Part m_part;                         // what is in it
    Timer m_moving;
    std::shared_ptr<JournalFile> m_otherFile;
    std::shared_ptr<const Part> m_onItsWay; // into the database; what is in the other file
    std::optional<Failure> m_stuck;
    std::vector<Job> m_settled;     // when that is there
    std::vector<Job> m_settledNext; // ... and what is behind it
    std::map<qint64, qint64> m_forgotten;

    Sizes m_bytes; // of all that waits or is on its way
    qsizetype m_allBytes = 0;
    std::map<qint64, Job> m_forRoom;
};

} // namespace ombru
