#include "net/Frame.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr unsigned char LAST = 0x80; // in the first byte
constexpr unsigned char RESERVED = 0x70;
constexpr unsigned char MASKED = 0x80; // in the second
constexpr unsigned char SHORT_LENGTH = 125;
constexpr unsigned char LENGTH_16 = 126; // the length is in the next two bytes
constexpr unsigned char LENGTH_64 = 127; // ... eight bytes
constexpr qsizetype KEPT_CAPACITY = 64 << 10;

qsizetype lengthBytes(unsigned char length) {
    return length == LENGTH_16 ? 2 : length == LENGTH_64 ? 8 : 0;
}

std::uint64_t lengthAt(const char *bytes, unsigned char length) {
    if (length == LENGTH_16)
        return qFromBigEndian<std::uint16_t>(bytes);
    return length == LENGTH_64 ? qFromBigEndian<std::uint64_t>(bytes) : length;
}

} // namespace

std::optional<FrameHead> readFrameHead(QByteArrayView bytes) {
    if (bytes.size() < 2)
        return {};
    const auto first = static_cast<unsigned char>(bytes[0]);
    const auto second = static_cast<unsigned char>(bytes[1]);
    const auto shortLength = static_cast<unsigned char>(second & ~MASKED);
    const bool masked = second & MASKED;
    const auto maskAt = 2 + lengthBytes(shortLength);
    FrameHead head{static_cast<Opcode>(first & 0x0F), (first & LAST) != 0};
    head.reserved = (first & RESERVED) != 0;
    head.size = maskAt + (masked ? qsizetype(sizeof(FrameMask)) : 0);
    if (bytes.size() < head.size)
        return {};
    head.length = lengthAt(bytes.data() + 2, shortLength);
    if (masked)
        std::memcpy(head.mask.emplace().data(), bytes.data() + maskAt, sizeof(FrameMask));
    return head;
}

void applyMask(std::span<char> payload, FrameMask mask) {
    std::uint32_t four = 0;
    std::memcpy(&four, mask.data(), sizeof four);
    const auto eight = four | std::uint64_t(four) << 32;
    std::size_t at = 0;
    for (; at + sizeof eight <= payload.size(); at += sizeof eight) {
        std::uint64_t word = 0;
        std::memcpy(&word, payload.data() + at, sizeof word);
        word ^= eight;
        std::memcpy(payload.data() + at, &word, sizeof word);
    }
    for (; at < payload.size(); ++at)
        payload[at] ^= mask[at % mask.size()];
}

void FrameReader::append(QByteArrayView bytes) {
    dropRead();
    m_bytes.append(bytes);
    dropCut();
}

void FrameReader::dropCut() {
    const auto count = std::min(m_cut, static_cast<std::uint64_t>(unread()));
    m_read += static_cast<qsizetype>(count);
    m_cut -= count;
}

// What is left moves to the front only when it is no more than what was read: then all moves together cost no more than
// reading did.
void FrameReader::dropRead() {
    if (m_read == m_bytes.size() && m_bytes.capacity() > KEPT_CAPACITY)
        m_bytes = {};
    else if (m_read >= unread())
        m_bytes.remove(0, m_read);
    else
        return;
    m_read = 0;
}

Result<std::optional<Frame>> FrameReader::next() {
    const auto head = readFrameHead(QByteArrayView(m_bytes).sliced(m_read));
    if (!head)
        return std::nullopt;
    if (!m_kept && head->length > m_largest)
        return std::unexpected(
            Failure{u"websocket"_s, 0, u"A frame of more than %1 MiB was announced."_s.arg(m_largest >> 20)});
    const auto length = static_cast<qsizetype>(std::min(head->length, m_kept.value_or(LARGEST_FRAME)));
    if (unread() - head->size < length)
        return std::nullopt;
    char *payload = m_bytes.data() + m_read + head->size;
    if (head->mask)
        applyMask({payload, static_cast<std::size_t>(length)}, *head->mask);
    m_read += head->size + length;
    m_cut = head->length - static_cast<std::uint64_t>(length);
    const Frame frame{head->opcode, head->last, {payload, length}, m_cut, head->reserved, head->mask.has_value()};
    dropCut();
    return frame;
}

WrittenHead::WrittenHead(Opcode opcode, std::uint64_t length, const std::optional<FrameMask> &mask) {
    m_bytes[0] = static_cast<char>(LAST | static_cast<unsigned char>(opcode));
    if (length <= SHORT_LENGTH) {
        m_bytes[1] = static_cast<char>(length);
    } else if (length <= 0xFFFF) {
        m_bytes[1] = LENGTH_16;
        qToBigEndian(static_cast<std::uint16_t>(length), m_bytes.data() + 2);
    } else {
        m_bytes[1] = LENGTH_64;
        qToBigEndian(length, m_bytes.data() + 2);
    }
    m_size = 2 + lengthBytes(static_cast<unsigned char>(m_bytes[1]));
    if (!mask)
        return;
    m_bytes[1] = static_cast<char>(static_cast<unsigned char>(m_bytes[1]) | MASKED);
    std::memcpy(m_bytes.data() + m_size, mask->data(), mask->size());
    m_size += qsizetype(mask->size());
}

} // namespace ombru
