// One TCP connection. What comes in is told on the queue of its Transport, which keeps the stream until it is closed;
// to send and to cancel is for any thread. Whoever starts a stream ends it by cancel(), after its end, too.
#pragma once
#include "base/Loop.h"
#include "net/Readiness.h"
#include "net/Socket.h"

#include <QByteArray>
#include <QString>

#include <atomic>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>

namespace ombru {

class Transport;

class Stream : public std::enable_shared_from_this<Stream> {
public:
    static constexpr qsizetype MOST_UNSENT = 8 << 20; // bytes that may wait behind the message that is on its way

    Stream(std::weak_ptr<Transport> transport, std::shared_ptr<Readiness> readiness, std::uint64_t key,
           Accepted accepted);

    // What the stream tells; it is let go of at cancel().
    struct Listener {
        std::function<void(QByteArrayView)> onReceived; // never none
        // Once, and nothing comes after it: the peer has finished sending, or a failure.
        std::function<void(const std::optional<Failure> &)> onEnd;
    };
    void start(Listener listener, qsizetype most); // on the queue, once; not before cancel()
    void receiveAtMost(qsizetype bytes);           // at a time; on the queue
    void keepAtMost(qsizetype unsent);             // in place of MOST_UNSENT; before anything is sent
    void receive(bool on);                         // off: the peer has to wait; on the queue

    const QString &peer() const { return m_peer; } // "host:port"

    // The parts, MOST_PARTS at most, go out behind one another, whole and in the order of the calls. `sent` comes on
    // the queue, once the system has all of them; false when that never happens. When more than MOST_UNSENT waits, the
    // peer does not read: the stream ends.
    using Sent = std::move_only_function<void(bool)>;
    void send(std::initializer_list<QByteArrayView> parts, Sent sent = {});

    qsizetype unsent() const; // bytes that wait; any thread

    // What was sent before still goes out, for a moment; nothing is told any more, and nothing more is sent.
    void cancel();
    void abort(); // in place of it, or after it: whatever waits to go out is dropped

    void post(Job job); // on the queue, unless that is gone

private:
    friend class Transport;

    struct Message {
        QByteArray bytes;
        Sent sent;
        qsizetype gone = 0; // bytes that went out
        qsizetype left() const { return bytes.size() - gone; }
    };
    using Messages = std::list<Message>; // nearly always empty: that must cost nothing

    // On the queue.
    void ready(const Readiness::Event &event, std::span<char> buffer);
    void receive(std::span<char> buffer);
    void flush();
    void end(const std::optional<Failure> &failure);
    void hungUp();
    void windDown();
    void readOn(); // though it was told not to
    void closeWhenDone();
    void close();

    // With the mutex held.
    enum class Fate { gone, waits, dropped, tooMuch };
    Fate take(std::initializer_list<QByteArrayView> parts, Sent &sent); // takes `sent` only when it waits
    void keep(std::initializer_list<QByteArrayView> parts, qsizetype gone, Sent sent);
    Messages writeWaiting(); // gives what has gone out
    Messages breakOff();     // gives what waited
    void watch();

    void tell(Messages messages, bool sent);

    const std::weak_ptr<Transport> m_transport;
    const std::shared_ptr<Readiness> m_readiness;
    const std::uint64_t m_key; // among those of the transport
    const QString m_peer;
    std::atomic<bool> m_cancelled = false;

    // On the queue.
    Listener m_listener;
    qsizetype m_most = 0;
    bool m_ended = false; // nothing comes in any more
    Timer m_patience;     // with a peer that does not end

    mutable std::mutex m_mutex; // guards the rest
    Descriptor m_socket;        // closed on the queue only
    Messages m_waiting;
    qsizetype m_mostUnsent = MOST_UNSENT;
    qsizetype m_unsent = 0;      // bytes that wait
    bool m_broken = false;       // nothing goes out any more
    bool m_finished = false;     // the peer was told so
    bool m_reads = false;        // what comes in is looked for
    Readiness::Wish m_watched{}; // what the readiness knows of it
};

} // namespace ombru
