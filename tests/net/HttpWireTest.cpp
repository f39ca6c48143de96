#include "net/HttpWire.h"

#include <gtest/gtest.h>

using namespace ombru::http;

namespace {

std::string bytesOf(const Packet &packet) {
    std::string bytes;
    append(packet, bytes);
    return bytes;
}

// All that can be read; garbage ends it.
struct Read {
    std::vector<Packet> packets;
    bool garbage = false;
};
Read readAll(PacketReader &reader) {
    Read all;
    auto packet = reader.next();
    for (; packet && *packet; packet = reader.next())
        all.packets.push_back(**packet);
    all.garbage = !packet;
    return all;
}
Read readAll(const std::string &bytes) {
    PacketReader reader;
    reader.append(bytes);
    return readAll(reader);
}

const std::vector<Packet> ALL{
    {.what = What::begin,
     .request = 1,
     .number = 60'000,
     .lines = {"http://localhost//a", "", "X-One: 1", "X-Two: zwei"},
     .body = "ä\n"},
    {.what = What::begin, .request = 2, .number = 1, .lines = {"http://localhost/", "/a/file"}},
    {.what = What::giveUp, .request = 0xFFFF'FFFF'FFFF'FFFF},
    {.what = What::reply, .request = 1, .number = 200, .body = std::string("\0x\0", 3)},
    {.what = What::reply, .request = 2, .number = 404, .body = ""},
    {.what = What::failure, .request = 3, .number = -1, .lines = {"words"}},
    {.what = What::reply, .request = 4, .number = 200, .body = std::string(LARGEST_REPLY, 'x')},
};

constexpr std::size_t TEXTS = 4; // where a head says how many there are, whether there is a body, and how long all is
constexpr std::size_t HAS_BODY = 24;
constexpr std::size_t SIZE = 28;
constexpr std::size_t HEAD = 32;

std::string changed(const Packet &packet, std::size_t place, std::uint32_t value) {
    auto bytes = bytesOf(packet);
    bytes.replace(place, sizeof value, reinterpret_cast<const char *>(&value), sizeof value);
    return bytes;
}

} // namespace

TEST(HttpWire, WhatIsWrittenIsReadInPiecesOfAnySize) {
    std::string bytes;
    for (const auto &packet : ALL)
        append(packet, bytes);
    for (const std::size_t piece : {std::size_t(1000), std::size_t(65'537), bytes.size()}) {
        PacketReader reader;
        std::vector<Packet> read;
        for (std::size_t at = 0; at < bytes.size(); at += piece) {
            reader.append(std::string_view(bytes).substr(at, piece));
            const auto some = readAll(reader);
            ASSERT_FALSE(some.garbage);
            read.insert(read.end(), some.packets.begin(), some.packets.end());
        }
        EXPECT_TRUE(read == ALL) << "in pieces of " << piece;
    }
}

TEST(HttpWire, NothingIsReadBeforeItIsWhole) {
    const auto bytes = bytesOf(ALL[0]);
    PacketReader reader;
    for (const char byte : bytes.substr(0, bytes.size() - 1)) {
        reader.append({&byte, 1});
        const auto read = readAll(reader);
        ASSERT_TRUE(read.packets.empty() && !read.garbage);
    }
    reader.append(bytes.substr(bytes.size() - 1));
    EXPECT_EQ(readAll(reader).packets, (std::vector<Packet>{ALL[0]}));
}

TEST(HttpWire, WhatCannotBeAPacketIsGarbage) {
    const Packet two{.what = What::failure, .request = 1, .lines = {"one", "two"}};
    EXPECT_FALSE(readAll(bytesOf(two)).garbage);
    EXPECT_TRUE(readAll("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n{}").garbage);
    EXPECT_TRUE(readAll(changed(two, 0, 4)).garbage) << "a kind that there is not";
    EXPECT_TRUE(readAll(changed(two, TEXTS, 3)).garbage) << "more texts than there are";
    EXPECT_TRUE(readAll(changed(two, TEXTS, 1)).garbage) << "fewer";
    EXPECT_TRUE(readAll(changed(two, HAS_BODY, 2)).garbage);
    EXPECT_TRUE(readAll(changed({.what = What::giveUp, .request = 1}, HAS_BODY, 1)).garbage) << "where nothing is";
    EXPECT_TRUE(readAll(changed(two, HEAD, 1000)).garbage) << "a text longer than all";
    EXPECT_TRUE(readAll(changed(two, HEAD, 0xFFFF'FFFF)).garbage);
    EXPECT_TRUE(readAll(changed(two, SIZE, LARGEST_PACKET + 1)).garbage) << "before all of it has come";
}
