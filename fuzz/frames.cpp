// Frames, as whoever was let in may send them. The first byte of the input is the size of its pieces.
#include "fuzz/Fuzz.h"
#include "net/Frame.h"

#include <vector>

using namespace ombru;

namespace {

struct Seen {
    Opcode opcode;
    bool last;
    QByteArray payload;
    bool operator==(const Seen &) const = default;
};

// Whether more can be read.
bool readInto(std::vector<Seen> &frames, FrameReader &reader) {
    for (;;) {
        const auto frame = reader.next();
        if (!frame)
            return false;
        if (!*frame)
            return true;
        frames.push_back({(*frame)->opcode, (*frame)->last, (*frame)->payload.toByteArray()});
    }
}

void writeAndReadAgain(const Seen &frame) {
    const WrittenHead head(frame.opcode, static_cast<std::uint64_t>(frame.payload.size()));
    FrameReader reader;
    reader.append(QByteArrayView(head).toByteArray() + frame.payload);
    std::vector<Seen> frames;
    fuzz::require(readInto(frames, reader) && frames == std::vector<Seen>{{frame.opcode, true, frame.payload}});
}

// What is read does not depend on how it comes.
std::vector<Seen> readBothWays(QByteArrayView bytes, qsizetype size, const FrameReader &fresh) {
    auto whole = fresh;
    whole.append(bytes);
    std::vector<Seen> expected;
    const bool goesOn = readInto(expected, whole);

    auto pieces = fresh;
    std::vector<Seen> frames;
    bool piecesGoOn = true;
    fuzz::inPieces(bytes, size, [&](QByteArrayView piece) {
        pieces.append(piece);
        return piecesGoOn = readInto(frames, pieces);
    });
    fuzz::require(frames == expected && piecesGoOn == goesOn);
    return frames;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    constexpr std::uint64_t KEPT = 16;
    if (size == 0)
        return 0;
    const QByteArrayView bytes(reinterpret_cast<const char *>(data) + 1, static_cast<qsizetype>(size - 1));
    for (const auto &frame : readBothWays(bytes, data[0] + 1, FrameReader()))
        writeAndReadAgain(frame);
    for (const auto &frame : readBothWays(bytes, data[0] + 1, FrameReader(KEPT)))
        fuzz::require(static_cast<std::uint64_t>(frame.payload.size()) <= KEPT);
    return 0;
}
