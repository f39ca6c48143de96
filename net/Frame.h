// WebSocket framing (RFC 6455): bytes in, frames out, and the other way round. No socket, no rule of a particular
// server: what a frame means, and whether it may be unmasked or use reserved bits, is for who reads it. A reader
// belongs to one thread; the functions are for any.
#pragma once
#include "base/Failure.h"

#include <QByteArray>

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace ombru {

// The low four bits of a frame's first byte; those without a name here are reserved, and may arrive.
enum class Opcode : std::uint8_t { continuation = 0, text = 1, binary = 2, close = 8, ping = 9, pong = 10 };

constexpr std::uint64_t LARGEST_FRAME = 64 << 20; // bytes of payload; also of a message of several frames

using FrameMask = std::array<char, 4>;

struct FrameHead {
    Opcode opcode = Opcode::text;
    bool last = true;         // of its message
    std::uint64_t length = 0; // of the payload, as the peer says
    std::optional<FrameMask> mask = {};
    qsizetype size = 0;    // of the head itself, in bytes
    bool reserved = false; // bits of the first byte are set that mean nothing without an extension

    bool operator==(const FrameHead &) const = default;
};

// Reads a head from the front of `bytes`. Nothing: more bytes are needed.
std::optional<FrameHead> readFrameHead(QByteArrayView bytes);

// Masks, or takes the mask off: each byte with that of the mask at its place.
void applyMask(std::span<char> payload, FrameMask mask);

struct Frame {
    Opcode opcode;
    bool last;
    QByteArrayView payload; // without its mask; valid until the reader is called again
    std::uint64_t cut = 0;  // bytes of it that were not kept
    bool reserved = false;
    bool masked = false;
};

// Takes what arrives, in pieces of any size, and gives whole frames. Allocates by what has arrived, never by what a
// head announces.
class FrameReader {
public:
    FrameReader() = default;
    explicit FrameReader(std::uint64_t kept) : m_kept(kept) {} // of a payload; longer ones are cut, however long

    void refuseAbove(std::uint64_t length) { m_largest = length; } // LARGEST_FRAME at most
    void append(QByteArrayView bytes);

    // The next frame, or nothing until more has arrived. Unless frames are cut, a Failure when it would be past what is
    // refused, at first LARGEST_FRAME: nothing that comes behind it can be read.
    Result<std::optional<Frame>> next();

private:
    qsizetype unread() const { return m_bytes.size() - m_read; }
    void dropRead();
    void dropCut();

    std::optional<std::uint64_t> m_kept;
    std::uint64_t m_largest = LARGEST_FRAME;
    QByteArray m_bytes;
    qsizetype m_read = 0;    // so many of them were given out
    std::uint64_t m_cut = 0; // bytes that are still to come and not kept
};

// The head of a frame that is last of its message. A server's is not masked, a client's is.
class WrittenHead {
public:
    WrittenHead(Opcode opcode, std::uint64_t length, const std::optional<FrameMask> &mask = {});
    operator QByteArrayView() const { return {m_bytes.data(), m_size}; }

private:
    std::array<char, 14> m_bytes;
    qsizetype m_size;
};

} // namespace ombru
