#include "net/Frame.h"

#include "tests/support/Wait.h"

#include <limits>
#include <random>

using namespace ombru;

namespace {

// What a frame was, kept beyond the reader's next call.
struct Seen {
    Opcode opcode;
    bool last;
    QByteArray payload;
    bool operator==(const Seen &) const = default;
};

std::vector<Seen> readAll(FrameReader &reader) {
    std::vector<Seen> frames;
    for (auto frame = reader.next(); frame && *frame; frame = reader.next())
        frames.push_back({(*frame)->opcode, (*frame)->last, (*frame)->payload.toByteArray()});
    return frames;
}

std::vector<Seen> readAll(QByteArrayView bytes) {
    FrameReader reader;
    reader.append(bytes);
    return readAll(reader);
}

QByteArray written(Opcode opcode, const QByteArray &payload) {
    return QByteArrayView(WrittenHead(opcode, static_cast<std::uint64_t>(payload.size()))).toByteArray() + payload;
}

QByteArray bytes(std::initializer_list<int> numbers) {
    QByteArray all;
    for (const int number : numbers)
        all.append(static_cast<char>(number));
    return all;
}

QByteArray announcing(std::uint64_t length) {
    auto head = bytes({0x82, 0xFF});
    for (int shift = 56; shift >= 0; shift -= 8)
        head.append(static_cast<char>(length >> shift));
    return head + "mask";
}

QByteArray noise(qsizetype size) {
    std::mt19937 random(7);
    QByteArray all(size, Qt::Uninitialized);
    for (auto &byte : all)
        byte = static_cast<char>(random());
    return all;
}

} // namespace

TEST(Frame, AHeadIsAsShortAsItsLengthAllows) {
    EXPECT_EQ(QByteArrayView(WrittenHead(Opcode::text, 0)), bytes({0x81, 0}));
    EXPECT_EQ(QByteArrayView(WrittenHead(Opcode::pong, 125)), bytes({0x8A, 125}));
    EXPECT_EQ(QByteArrayView(WrittenHead(Opcode::text, 126)), bytes({0x81, 126, 0, 126}));
    EXPECT_EQ(QByteArrayView(WrittenHead(Opcode::text, 65'535)), bytes({0x81, 126, 0xFF, 0xFF}));
    EXPECT_EQ(QByteArrayView(WrittenHead(Opcode::binary, 65'536)), bytes({0x82, 127, 0, 0, 0, 0, 0, 1, 0, 0}));
    EXPECT_EQ(QByteArrayView(WrittenHead(Opcode::close, 0x0102030405060708)),
              bytes({0x88, 127, 1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(Frame, AHeadIsReadOnceItIsWhole) {
    const auto head = bytes({0x01, 0xFE, 0x12, 0x34, 'm', 'a', 's', 'k'});
    for (qsizetype size = 0; size < head.size(); ++size)
        EXPECT_EQ(readFrameHead(head.first(size)), std::nullopt) << size;
    const FrameHead expected{Opcode::text, false, 0x1234, FrameMask{'m', 'a', 's', 'k'}, 8};
    EXPECT_EQ(readFrameHead(head), expected);
}

TEST(Frame, ReservedBitsAreIgnoredAndReservedOpcodesTold) {
    EXPECT_EQ(readAll(bytes({0xF1, 1, 'x'})), (std::vector<Seen>{{Opcode::text, true, "x"}}));
    EXPECT_EQ(readAll(bytes({0x73, 1, 'x'})), (std::vector<Seen>{{static_cast<Opcode>(3), false, "x"}}));
}

TEST(Frame, AMaskIsTakenOff) {
    const auto hello = bytes({0x81, 0x85, 0x37, 0xfa, 0x21, 0x3d, 0x7f, 0x9f, 0x4d, 0x51, 0x58}); // of RFC 6455, 5.7
    EXPECT_EQ(readAll(hello), (std::vector<Seen>{{Opcode::text, true, "Hello"}}));
}

TEST(Frame, AMaskReachesEachByteOfEveryLength) {
    const FrameMask mask = {1, '\x80', '\xFF', 0x55};
    for (qsizetype size = 0; size < 70; ++size) {
        const auto plain = noise(size);
        auto other = plain;
        applyMask({other.data(), static_cast<std::size_t>(size)}, mask);
        for (qsizetype at = 0; at < size; ++at)
            ASSERT_EQ(other[at], static_cast<char>(plain[at] ^ mask[static_cast<std::size_t>(at % 4)])) << size;
    }
}

TEST(Frame, EveryLengthComesBackWhateverThePieces) {
    QByteArray all;
    std::vector<Seen> expected;
    for (const qsizetype size : {0, 1, 125, 126, 127, 65'535, 65'536, 200'000}) {
        expected.push_back({Opcode::binary, true, noise(size)});
        all += written(Opcode::binary, expected.back().payload);
    }
    for (const qsizetype piece : {qsizetype(1), qsizetype(7), qsizetype(4096), all.size()}) {
        FrameReader reader;
        std::vector<Seen> seen;
        for (qsizetype at = 0; at < all.size(); at += piece) {
            reader.append(QByteArrayView(all).sliced(at, std::min(piece, all.size() - at)));
            std::ranges::move(readAll(reader), std::back_inserter(seen));
        }
        EXPECT_TRUE(seen == expected) << "in pieces of " << piece;
    }
}

TEST(Frame, AsManyFramesAsCameAreGivenOneByOne) {
    FrameReader reader;
    QByteArray all;
    for (int number = 0; number < 200'000; ++number)
        all += written(Opcode::text, QByteArray::number(number));
    reader.append(all + bytes({0x81}));
    for (int number = 0; number < 200'000; ++number)
        ASSERT_EQ((*reader.next())->payload, QByteArray::number(number));
    EXPECT_FALSE(*reader.next());
    reader.append(bytes({1, 'x'}));
    EXPECT_EQ((*reader.next())->payload, "x");
}

TEST(Frame, SixtyFourMegabytesAreTheMost) {
    FrameReader largest;
    largest.append(announcing(LARGEST_FRAME));
    const auto waits = largest.next();
    EXPECT_TRUE(waits && !*waits);
    FrameReader larger;
    larger.append(announcing(LARGEST_FRAME + 1));
    EXPECT_EQ(larger.next().error().domain, QStringLiteral("websocket"));
}

TEST(Frame, ALengthNearTheMaximumIsAFailureAndNothingElse) {
    for (const auto length : {std::numeric_limits<std::uint64_t>::max(), std::numeric_limits<std::uint64_t>::max() - 13,
                              std::uint64_t(1) << 63, (std::uint64_t(1) << 63) - 1}) {
        FrameReader reader;
        reader.append(announcing(length));
        EXPECT_FALSE(reader.next());
        EXPECT_FALSE(reader.next()) << "nor is there anything behind it";
    }
}

TEST(Frame, CutsWhatIsLongerThanItKeeps) {
    FrameReader reader(4);
    reader.append(written(Opcode::text, "12345678") + written(Opcode::text, "next"));
    const auto cut = reader.next();
    ASSERT_TRUE(cut && *cut);
    EXPECT_EQ((*cut)->payload, "1234");
    EXPECT_EQ((*cut)->cut, 4U);
    EXPECT_EQ(readAll(reader), (std::vector<Seen>{{Opcode::text, true, "next"}}));
}

TEST(Frame, PassesOverTheRestOfACutFrameAsItComes) {
    FrameReader reader(2);
    const auto all = written(Opcode::binary, QByteArray(100'000, 'x')) + written(Opcode::text, "yz");
    std::vector<Seen> seen;
    for (qsizetype at = 0; at < all.size(); at += 777) {
        reader.append(QByteArrayView(all).sliced(at, std::min<qsizetype>(777, all.size() - at)));
        for (const auto &frame : readAll(reader))
            seen.push_back(frame);
    }
    EXPECT_EQ(seen, (std::vector<Seen>{{Opcode::binary, true, "xx"}, {Opcode::text, true, "yz"}}));
}

TEST(Frame, CutsAlsoWhatWouldBeRefusedOtherwise) {
    FrameReader reader(2);
    reader.append(QByteArrayView(WrittenHead(Opcode::text, LARGEST_FRAME + 1)).toByteArray() + "abc");
    const auto frame = reader.next();
    ASSERT_TRUE(frame && *frame);
    EXPECT_EQ((*frame)->payload, "ab");
    EXPECT_EQ((*frame)->cut, LARGEST_FRAME - 1);
}
