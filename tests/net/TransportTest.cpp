#include "net/Transport.h"

#include "tests/support/DescriptorLimit.h"
#include "tests/support/Processes.h"
#include "tests/support/TcpPeer.h"

#include <fcntl.h>
#include <latch>
#include <numeric>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::TcpPeer;
using test::waitUntil;

namespace {

// Runs the job on the queue, and waits for it.
template <class Do>
void on(Transport &transport, Do job) {
    std::latch done(1);
    transport.queue().post([&] {
        job();
        done.count_down();
    });
    done.wait();
}

class TransportTest : public ::testing::Test {
protected:
    void SetUp() override {
        on(*transport, [this] {
            ASSERT_TRUE(transport->makeListener(Interface::loopback));
            const auto got = transport->listen(0, [this](const std::shared_ptr<Stream> &stream) { take(stream); });
            ASSERT_TRUE(got);
            port = *got;
        });
        descriptors = test::openDescriptors();
    }
    void TearDown() override {
        on(*transport, [this] {
            transport->stopListening();
            for (const auto &stream : streams)
                stream->cancel();
        });
        // What a connection closes later would be a free descriptor in the next test.
        EXPECT_TRUE(waitUntil([this] { return test::openDescriptors() < descriptors; }));
        on(*transport, [] {});
    }

    void take(const std::shared_ptr<Stream> &stream) {
        streams.push_back(stream);
        stream->start({.onReceived = [this](QByteArrayView bytes) { pieces.push_back(bytes.size()); },
                       .onEnd = [this](const std::optional<Failure> &failure) { ends.push_back(failure); }},
                      most);
        ++accepted;
    }
    void accept(TcpPeer &peer) {
        const int before = accepted;
        peer.connect(port);
        ASSERT_TRUE(waitUntil([&] { return accepted > before; }));
    }
    std::size_t ended() {
        std::size_t count = 0;
        on(*transport, [&] { count = ends.size(); });
        return count;
    }

    // The only one: of this process, at the port, and connected.
    int acceptedSocket() const {
        for (int number = 0; number < 1024; ++number) {
            sockaddr_in own{};
            sockaddr_in others{};
            socklen_t size = sizeof own;
            const bool here = ::getsockname(number, reinterpret_cast<sockaddr *>(&own), &size) == 0;
            size = sizeof others;
            if (here && ntohs(own.sin_port) == port &&
                ::getpeername(number, reinterpret_cast<sockaddr *>(&others), &size) == 0)
                return number;
        }
        return -1;
    }

    std::shared_ptr<Transport> transport = Transport::make("test");
    qsizetype descriptors = 0; // that are open, with the listener and without connections
    std::uint16_t port = 0;
    std::atomic<int> accepted = 0;
    qsizetype most = 1000;

    // On the queue.
    std::vector<std::shared_ptr<Stream>> streams;
    std::vector<qsizetype> pieces;
    std::vector<std::optional<Failure>> ends;
};

} // namespace

TEST_F(TransportTest, NoMoreIsReceivedAtATimeThanWasAskedFor) {
    TcpPeer peer;
    accept(peer);
    const auto received = [this] {
        qsizetype sum = 0;
        on(*transport, [&] { sum = std::accumulate(pieces.begin(), pieces.end(), qsizetype(0)); });
        return sum;
    };
    peer.write(QByteArray(10'000, 'x'));
    ASSERT_TRUE(waitUntil([&] { return received() == 10'000; }));
    on(*transport, [this] {
        EXPECT_LE(*std::ranges::max_element(pieces), 1000);
        streams[0]->receiveAtMost(10);
        pieces.clear();
    });
    peer.write(QByteArray(100, 'x'));
    ASSERT_TRUE(waitUntil([&] { return received() == 100; }));
    on(*transport, [this] { EXPECT_LE(*std::ranges::max_element(pieces), 10); });
}

TEST_F(TransportTest, TheEndOfAPeerIsNoFailureAndItsCrashIsOne) {
    TcpPeer finishing;
    accept(finishing);
    finishing.finishSending();
    ASSERT_TRUE(waitUntil([this] { return ended() == 1; }));
    TcpPeer crashing;
    accept(crashing);
    crashing.reset();
    ASSERT_TRUE(waitUntil([this] { return ended() == 2; }));
    on(*transport, [this] {
        EXPECT_EQ(ends[0], std::nullopt);
        EXPECT_EQ(ends[1], networkFailure(ECONNRESET));
    });
}

TEST_F(TransportTest, WhoSentIsToldWhenAllIsOnItsWay) {
    TcpPeer peer(0, 4096);
    accept(peer);
    std::mutex mutex;
    std::string told;
    const auto tell = [&](char what) {
        return [&told, &mutex, what](bool sent) {
            const std::lock_guard lock(mutex);
            told.push_back(sent ? what : '-');
        };
    };
    const auto all = [&] {
        const std::lock_guard lock(mutex);
        return told;
    };
    const QByteArray large(16 << 20, 'l');
    std::shared_ptr<Stream> stream;
    on(*transport, [&] { stream = streams[0]; });
    stream->send({"small"}, tell('s'));
    stream->send({"of ", "two"}, tell('t'));
    stream->send({large}, tell('l'));
    stream->send({"last"}, tell('a'));
    EXPECT_TRUE(waitUntil([&] { return all() == "st"; }));
    EXPECT_EQ(peer.read(11), "smallof two");
    EXPECT_TRUE(peer.read(large.size()) == large);
    EXPECT_EQ(peer.read(4), "last");
    EXPECT_TRUE(waitUntil([&] { return all() == "stla"; }));
    stream->send({large}, tell('x'));
    stream->send({"never"}, tell('y'));
    peer.reset();
    EXPECT_TRUE(waitUntil([&] { return all() == "stla--"; }));
    stream->send({"nor this"}, tell('z'));
    EXPECT_TRUE(waitUntil([&] { return all() == "stla---"; }));
}

TEST_F(TransportTest, OnlyEightMegabytesWaitBehindAMessage) {
    TcpPeer peer(0, 4096);
    accept(peer);
    std::shared_ptr<Stream> stream;
    on(*transport, [&] { stream = streams[0]; });
    stream->send({QByteArray(32 << 20, 'x')});
    stream->send({QByteArray(Stream::MOST_UNSENT, 'y')});
    EXPECT_EQ(ended(), 0U);
    stream->send({"z"});
    EXPECT_TRUE(waitUntil([this] { return ended() == 1; }));
    on(*transport, [this] { EXPECT_EQ(ends[0]->code, ENOBUFS); });
}

TEST_F(TransportTest, WhatWasSentBeforeACancelStillArrives) {
    TcpPeer peer(0, 4096);
    accept(peer);
    peer.write("unread by nobody who would want it");
    std::shared_ptr<Stream> stream;
    on(*transport, [&] { stream = streams[0]; });
    stream->send({QByteArray(6 << 20, 'x')});
    stream->cancel();
    stream->send({"too late"});
    EXPECT_EQ(peer.readToEnd().size(), 6 << 20);
}

TEST_F(TransportTest, OfManyThatEndOnlySomeAreWaitedFor) {
    const ManualClock clock;
    std::vector<std::unique_ptr<TcpPeer>> peers;
    for (int number = 0; number < 300; ++number)
        accept(*peers.emplace_back(std::make_unique<TcpPeer>()));
    on(*transport, [this] {
        for (const auto &stream : streams)
            stream->cancel();
    });
    for (const auto &peer : peers)
        EXPECT_EQ(peer->readToEnd(), "");
    EXPECT_TRUE(waitUntil([&] { return !peers.front()->write("x"); }));
    EXPECT_TRUE(peers.back()->write("x"));
    EXPECT_TRUE(peers.back()->write("x"));
}

TEST_F(TransportTest, APeerThatIsGoneWithoutAWordIsNoticed) {
    TcpPeer peer;
    accept(peer);
    const auto option = [socket = acceptedSocket()](int level, int name) {
        int value = -1;
        socklen_t size = sizeof value;
        EXPECT_EQ(::getsockopt(socket, level, name, &value, &size), 0);
        return value;
    };
    EXPECT_EQ(option(SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPIDLE), 60);
    EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPINTVL), 15);
    EXPECT_EQ(option(IPPROTO_TCP, TCP_KEEPCNT), 4);
    EXPECT_EQ(option(IPPROTO_TCP, TCP_USER_TIMEOUT), 120'000);
    EXPECT_EQ(option(IPPROTO_TCP, TCP_NODELAY), 1) << "what is sent leaves at once";
}

TEST_F(TransportTest, WithoutDescriptorsItAcceptsLater) {
    ManualClock clock;
    TcpPeer first;
    accept(first);
    TcpPeer second;
    const auto awaitPiece = [&](std::size_t count) {
        return waitUntil([&] {
            std::size_t seen = 0;
            on(*transport, [&] { seen = pieces.size(); });
            return seen == count;
        });
    };
    {
        const auto limit = test::DescriptorLimit::noMore();
        second.connect(port);
        first.write("x");
        EXPECT_TRUE(awaitPiece(1)) << "whoever is connected is served";
    }
    first.write("x");
    EXPECT_TRUE(awaitPiece(2));
    EXPECT_EQ(accepted, 1) << "it does not try all the time";
    clock.advance(1s);
    EXPECT_TRUE(waitUntil([this] { return accepted == 2; }));
}

TEST_F(TransportTest, AConnectionThatIsOpenAlreadyIsTakenOver) {
    const int most = 2;
    std::array<int, most> ends{};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    Descriptor other(ends[1]);
    on(*transport, [&] {
        const auto stream = transport->takeOver({Descriptor(ends[0]), u"somebody"_s});
        ASSERT_TRUE(stream);
        EXPECT_EQ((*stream)->peer(), u"somebody"_s);
        take(*stream);
        (*stream)->send({"hello"});
    });
    std::array<char, 16> bytes{};
    EXPECT_EQ(::read(other.number(), bytes.data(), bytes.size()), 5);
    EXPECT_EQ(::write(other.number(), "answer", 6), 6);
    EXPECT_TRUE(waitUntil([this] {
        bool came = false;
        on(*transport, [&] { came = pieces == std::vector<qsizetype>{6}; });
        return came;
    }));
}

TEST_F(TransportTest, ATakenConnectionHasTheOptionsOfAnAcceptedOne) {
    const auto listening = makeListeningSocket(Interface::loopback);
    const auto number = listenOn(*listening, Interface::loopback, 0);
    ASSERT_TRUE(number);
    TcpPeer peer(*number);
    const int open = ::accept(listening->number(), nullptr, nullptr); // it waits, and has been told nothing
    const int none = 0;
    ::setsockopt(open, SOL_SOCKET, SO_KEEPALIVE, &none, sizeof none);
    on(*transport, [&] {
        const auto stream = transport->takeOver({Descriptor(::dup(open)), u"somebody"_s});
        ASSERT_TRUE(stream);
        take(*stream);
    });
    int value = 0;
    socklen_t size = sizeof value;
    ::getsockopt(open, SOL_SOCKET, SO_KEEPALIVE, &value, &size);
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(::fcntl(open, F_GETFL) & O_NONBLOCK);
    ::close(open);
}
