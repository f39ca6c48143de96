// A request to become a WebSocket, as anybody may send it. The first byte of the input is the size of its pieces.
#include "fuzz/Fuzz.h"
#include "voice/Upgrade.h"

using namespace ombru;
using namespace Qt::StringLiterals;

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    if (size == 0)
        return 0;
    const QByteArrayView bytes(reinterpret_cast<const char *>(data) + 1, static_cast<qsizetype>(size - 1));
    HeadReader reader;
    auto state = HeadReader::State::open;
    fuzz::inPieces(bytes, data[0] + 1, [&](QByteArrayView piece) {
        state = reader.append(piece);
        return state == HeadReader::State::open;
    });
    const auto end = bytes.indexOf("\r\n\r\n");
    if (state == HeadReader::State::open)
        fuzz::require(end < 0 && bytes.size() <= LONGEST_OPEN_HEAD);
    if (state != HeadReader::State::whole)
        return 0;
    fuzz::require(reader.head() == bytes.first(end));
    const auto head = parseHead(reader.head());
    const auto reply = replyToUpgrade(head, u"abc"_s, {u"/"_s, u"/media"_s});
    fuzz::require(reply.bytes.endsWith("\r\n\r\n") && reply.accepted == reply.bytes.startsWith("HTTP/1.1 101 "));
    if (reply.accepted)
        fuzz::require(reply.bytes.size() == 129 && reader.head().contains("abc"));
    fuzz::require(!replyToUpgrade(head, {}, {head.path}).accepted);
    return 0;
}
