// What is live: which computers are connected, and which pages watch them. Apart from what is stored, though nothing is
// shown that is not, in the journal or in the database. It works on a queue of its own, "ombru.live", where its
// computers and pages live; what others ask is for any thread.
#pragma once
#include "net/Transport.h"
#include "service/live/Journal.h"
#include "service/live/LiveComputer.h"
#include "service/live/Page.h"

#include <QJsonArray>

#include <atomic>
#include <map>
#include <set>

namespace ombru {

class Hub : public std::enable_shared_from_this<Hub> {
public:
    // What has happened since the start, and what there is.
    struct Counts {
        std::atomic<qint64> online = 0;
        std::atomic<qint64> pages = 0;
        std::atomic<qint64> items = 0;
        std::atomic<qint64> lost = 0;     // batches that could not be kept
        std::atomic<qint64> heldBack = 0; // how often a computer was read no further, since the disk was behind
    };

    // Open at once; one more is closed again.
    static constexpr int PAGES_OF_SESSION = 20;
    static constexpr int PAGES_OF_ACCOUNT = 60;

    // Main thread; `store` outlives it, and so does `pages`, which answers those that catch up: what is moved into the
    // database does not hold them up. Whoever made it stops it before letting go.
    static std::shared_ptr<Hub> make(StoreQueue &store, StoreQueue &pages, JournalStart journal);

    // --- Any thread

    void load(std::vector<ComputerRecord> computers, std::map<qint64, LiveComputer::Last> last);
    void signedIn(ComputerRecord computer);
    void revoke(qint64 computer);
    void fetched(qint64 computer, double time, QString platform);
    void sessionEnded(QByteArray session);

    void takeComputer(qint64 computer, Accepted connection, QByteArray already);
    void takePage(Page::Owner owner, Accepted connection, QByteArray already);

    const Counts &counts() const { return m_counts; }

    // Main thread.
    Task<QJsonArray> computers(qint64 account);
    Task<Result<>> forget(qint64 computer); // its history
    Task<> settle();                        // all that pages were told is in the store then, if there is room
    Task<std::optional<History::Picture>> unsettledPicture(qint64 picture); // of what is not
    Task<> stop();                                                          // says goodbye to all, and has it kept

    // --- On the queue, for its computers and pages

    QJsonArray computersOf(qint64 account) const;
    std::shared_ptr<LiveComputer> computer(qint64 id, qint64 account) const; // none when it is another account's
    qint64 lastNumber(qint64 computer) const;
    QString full(qint64 account) const; // why what a computer of it tells is not kept; empty when it is
    // Of those behind `after`, in order; it is told later. Up to the number that it gives there are no others.
    qint64 askItems(std::weak_ptr<Page> page, quint64 watch, qint64 computer, qint64 after);
    void listenersChanged(qint64 computer);
    void left(const std::shared_ptr<Page> &page);

    Hub(StoreQueue &store, StoreQueue &pages, std::shared_ptr<Transport> transport);

private:
    template <class Work>
    void onQueue(Work work) {
        m_transport->queue().post([weak = weak_from_this(), work = std::move(work)]() mutable {
            if (const auto self = weak.lock())
                work(*self);
        });
    }
    template <class Value, class Ask>
    Task<Value> ask(Ask ask);
    void begin(JournalStart journal);
    void add(ComputerRecord record, LiveComputer::Last last);
    void withComputer(qint64 id, const std::function<void(LiveComputer &)> &work);
    void changed(const LiveComputer &computer);
    void appended(const Appended &appended);
    void lookForRoom();
    void tellFull(); // each page whether what its computers tell is kept
    void tellRoom(); // ... that it is, from now on, unless the journal is stuck
    void lost(const std::set<qint64> &computers, const Failure &failure);
    void look();
    void checkSession(const std::shared_ptr<Page> &page);
    bool hasRoomFor(const Page::Owner &owner) const;
    void endAll();
    void forgotten(qint64 computer, qint64 upTo);
    void settleWritten(const Completion &done);

    StoreQueue &m_store;
    StoreQueue &m_reader; // of pages
    const std::shared_ptr<Transport> m_transport;
    Counts m_counts;

    // On the queue.
    std::shared_ptr<Journal> m_journal;
    std::map<qint64, std::shared_ptr<LiveComputer>> m_computers;
    std::set<std::shared_ptr<Page>> m_pages;
    std::set<qint64> m_online;
    std::map<qint64, QString> m_unkept; // why what they told last was not kept
    Timer m_looking;
    bool m_stopped = false;
};

} // namespace ombru
