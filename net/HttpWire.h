// What a program of ours and ombru-http, which makes its requests, tell each other: packets on the socket that
// ombru-http finds as its standard input and output. Both are of one build and on one computer. A reader belongs to one
// thread; the functions are for any. Plain C++.
#pragma once
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ombru::http {

enum class What : std::uint32_t {
    // To ombru-http. As soon as it hears no more, it ends.
    begin,  // number: the limit in milliseconds; lines: the address, the authority's file, the headers
    giveUp, // nobody waits for that one any more
    // From it, once for each that has begun and was not given up.
    reply,   // number: the status; with a body
    failure, // number: the library's code; lines: its words
};

struct Packet {
    What what;
    std::uint64_t request; // its number, which is never used again
    std::int64_t number = 0;
    std::vector<std::string> lines = {};
    std::optional<std::string> body = {};

    bool operator==(const Packet &) const = default;
};

constexpr std::size_t LARGEST_REPLY = 16 << 20;                // bytes of a body; 17 minutes of speech
constexpr std::size_t LARGEST_PACKET = LARGEST_REPLY + 65'536; // bytes of all that it carries

void append(const Packet &packet, std::string &bytes);

// Takes what arrives, in pieces of any size, and gives whole packets.
class PacketReader {
public:
    void append(std::string_view bytes) { m_bytes.append(bytes); }

    struct Garbage {};
    // The next one, or nothing until more has arrived. Behind garbage nothing can be read.
    std::expected<std::optional<Packet>, Garbage> next();

private:
    std::string m_bytes;
};

} // namespace ombru::http
