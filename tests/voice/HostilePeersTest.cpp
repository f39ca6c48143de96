// Peers that mean harm or are broken: everyone else is served, and what one of them can cost is bounded.

#include "tests/support/DescriptorLimit.h"
#include "tests/voice/CallServer.h"

#include <thread>

using namespace ombru;
using namespace std::chrono_literals;
using test::masked;
using test::TcpPeer;
using test::waitUntil;

namespace {

class HostilePeersTest : public test::CallServer {
protected:
    using Peers = std::vector<std::unique_ptr<TcpPeer>>;

    void SetUp() override {
        CallServer::SetUp();
        other = join();
    }
    void TearDown() override {
        EXPECT_TRUE(isServed(*other)) << "everyone else is served";
        other.reset();
        CallServer::TearDown();
    }

    // What frames announce a length that is not theirs.
    static QByteArray announcing(std::uint64_t length) {
        auto head = QByteArrayView(WrittenHead(Opcode::text, 65'536)).toByteArray();
        head[1] = static_cast<char>(head[1] | 0x80);
        for (int byte = 0; byte < 8; ++byte)
            head[2 + byte] = static_cast<char>(length >> (56 - 8 * byte));
        return head + "mask";
    }

    static Peers open(quint16 port, std::size_t count) {
        Peers peers;
        while (peers.size() < count && !HasFailure())
            peers.push_back(std::make_unique<TcpPeer>(port));
        return peers;
    }

    std::unique_ptr<TcpPeer> other;
};

constexpr rlim_t MANY = 4300; // descriptors, for both ends of so many connections

} // namespace

TEST_F(HostilePeersTest, HalfAHandshakeMayStayOpen) {
    TcpPeer half(server->port());
    half.write(request().chopped(1));
    TcpPeer silent(server->port());
    EXPECT_TRUE(isServed(*join()));
    EXPECT_FALSE(half.hasMore());
    EXPECT_FALSE(silent.hasMore());
}

TEST_F(HostilePeersTest, OneByteAtATimeIsEnough) {
    TcpPeer slow(server->port());
    for (const char byte : request())
        slow.write({&byte, 1});
    EXPECT_EQ(slow.read(WELCOME.size()), WELCOME);
    for (const char byte : masked(Opcode::text, QByteArray(200, 'x')))
        slow.write({&byte, 1});
    EXPECT_TRUE(logs("text " + QByteArray(200, 'x')));
}

TEST_F(HostilePeersTest, AnEndlessHeaderEndsTheConnection) {
    TcpPeer endless(server->port());
    while (endless.write("X: y\r\n"))
        continue;
}

TEST_F(HostilePeersTest, AFrameThatAnnouncesTooMuchEndsTheConnection) {
    for (const auto length : {~std::uint64_t(0), ~std::uint64_t(0) - 13, std::uint64_t(1) << 63, LARGEST_FRAME + 1}) {
        const auto liar = join();
        liar->write(announcing(length) + QByteArray(1000, 'x'));
        EXPECT_EQ(liar->readToEnd(), GOODBYE);
    }
}

TEST_F(HostilePeersTest, AFrameThatAnnouncesMoreThanComesIsWaitedFor) {
    const auto liar = join();
    liar->write(announcing(LARGEST_FRAME) + QByteArray(1000, 'x'));
    EXPECT_TRUE(isServed(*other));
    EXPECT_FALSE(liar->hasMore());
    liar->finishSending();
    EXPECT_EQ(liar->readToEnd(), GOODBYE);
}

TEST_F(HostilePeersTest, AMessageThatNeverEndsEndsTheConnection) {
    const auto endless = join();
    const auto part = masked(Opcode::text, QByteArray(1 << 20, 'x'), false);
    for (int megabyte = 0; megabyte < 64; ++megabyte)
        ASSERT_TRUE(endless->write(part));
    EXPECT_TRUE(isServed(*other));
    EXPECT_FALSE(endless->hasMore()) << "64 MiB are allowed";
    endless->write(masked(Opcode::continuation, "x"));
    EXPECT_EQ(endless->readToEnd(), GOODBYE);
}

TEST_F(HostilePeersTest, GarbageIsDroppedAfterTheClose) {
    const auto peer = join();
    peer->write(masked(Opcode::close, "") + masked(Opcode::text, "ghost") + announcing(~std::uint64_t(0)));
    EXPECT_EQ(peer->readToEnd(), GOODBYE);
    EXPECT_TRUE(logs("close"));
    EXPECT_FALSE(log().contains("text ghost"));
}

TEST_F(HostilePeersTest, WhoNeverReadsIsEnded) {
    const auto deaf = join(4096);
    ASSERT_TRUE(waitUntil([this] { return connections() == 2; }));
    const QByteArray payload(100'000, 'x');
    const auto connection = this->connection(1);
    int sent = 0;
    for (auto open = connection.lock(); open && !log().contains("close"); open = connection.lock(), ++sent)
        open->sendFrame(Opcode::binary, payload);
    EXPECT_GE(sent, (8 << 20) / payload.size());
    EXPECT_TRUE(logs("close"));
}

TEST_F(HostilePeersTest, WhoPingsAndNeverReadsIsEnded) {
    const auto deaf = join(4096);
    const auto ping = masked(Opcode::ping, QByteArray(100'000, 'x'));
    while (deaf->write(ping))
        continue;
    EXPECT_TRUE(logs("close"));
}

TEST_F(HostilePeersTest, AFloodLeavesTheOthersTheirTurn) {
    const auto flooding = join();
    std::jthread flood([&](const std::stop_token &stop) {
        const auto message = masked(Opcode::pong, QByteArray(60'000, 'x'));
        while (!stop.stop_requested() && flooding->write(message))
            continue;
    });
    for (int round = 0; round < 100; ++round)
        ASSERT_TRUE(isServed(*other));
    EXPECT_TRUE(isServed(*join()));
}

TEST_F(HostilePeersTest, AThousandAtOnceAreServed) {
    const test::DescriptorLimit limit(MANY);
    const auto peers = open(server->port(), 1000);
    for (const auto &peer : peers)
        peer->write(request());
    for (const auto &peer : peers)
        ASSERT_EQ(peer->read(WELCOME.size()), WELCOME);
    for (const auto &peer : peers)
        ASSERT_TRUE(isServed(*peer));
    EXPECT_EQ(connections(), 1001U);
}

TEST_F(HostilePeersTest, OfTooManyHalfHandshakesTheOldestGoes) {
    const test::DescriptorLimit limit(MANY);
    auto peers = open(server->port(), 2058);
    EXPECT_TRUE(isServed(*join()));
    for (std::size_t number = 0; number < 10; ++number)
        EXPECT_EQ(peers[number]->readToEnd(), "");
    for (const auto number : {20UZ, 1000UZ, 2057UZ}) {
        peers[number]->write(request());
        EXPECT_EQ(peers[number]->read(WELCOME.size()), WELCOME);
    }
}
