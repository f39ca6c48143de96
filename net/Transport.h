// TCP connections to this computer, accepted here or taken over, on a queue of their own. One descriptor is watched for
// all of them, so that a thousand cost the loop no more than one. Nobody has to keep a connection: the transport keeps
// each until it is closed, and the loop keeps the transport as long as there is one, also when whoever made it has let
// go.
//
// Made on the main thread by make(); everything else on the queue.
#pragma once
#include "base/SerialQueue.h"
#include "net/Readiness.h"
#include "net/Socket.h"
#include "net/Stream.h"

#include <deque>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

class QSocketNotifier;

namespace ombru {

class Transport : public std::enable_shared_from_this<Transport> {
public:
    // The buffer is for what one stream receives at a time, so many bytes.
    static constexpr std::size_t BUFFER = 256 << 10;
    static std::shared_ptr<Transport> make(QByteArray queueName);
    static std::shared_ptr<Transport> make(std::shared_ptr<SerialQueue> queue, std::size_t buffer); // any thread
    Transport(std::shared_ptr<SerialQueue> queue, std::size_t buffer);
    ~Transport();

    SerialQueue &queue() { return *m_queue; } // any thread

    using OnConnection = std::function<void(std::shared_ptr<Stream>)>; // starts it

    // One listener at a time. First it is made, then it listens, and gives the port: for 0 a free one. Accepting goes
    // on later when the system has no descriptors left.
    Result<> makeListener(Interface interface);
    Result<std::uint16_t> listen(std::uint16_t port, OnConnection onConnection);
    void stopListening(); // connections stay

    // A connection that is open already, in place of one that was accepted here; whoever asked starts the stream.
    Result<std::shared_ptr<Stream>> takeOver(Accepted connection);

private:
    friend class Stream;

    bool open();
    void turn();
    bool handle(std::span<const Readiness::Event> events);
    void acceptSome();
    void acceptLater();
    std::shared_ptr<Stream> adopt(Accepted accepted);
    void endsSoon(std::uint64_t key);
    void forget(std::uint64_t key);

    const std::shared_ptr<SerialQueue> m_queue;
    const std::size_t m_bufferSize;
    std::shared_ptr<Readiness> m_readiness; // as the next ones, from the first listener on
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::vector<char> m_buffer;
    Interface m_interface = Interface::loopback;
    Descriptor m_listening;
    OnConnection m_onConnection;
    Timer m_acceptAgain;
    std::uint64_t m_lastKey = 0;
    std::unordered_map<std::uint64_t, std::shared_ptr<Stream>> m_streams;
    std::deque<std::uint64_t> m_ending; // in the order in which they were cancelled; some are gone already
};

} // namespace ombru
