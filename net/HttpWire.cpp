#include "net/HttpWire.h"

#include <cstring>

namespace ombru::http {

namespace {

struct Head {
    What what;
    std::uint32_t texts; // how many lie behind it, each behind its length
    std::uint64_t request;
    std::int64_t number;
    std::uint32_t hasBody; // the last text is one
    std::uint32_t size;    // of what lies behind it, in bytes
};

using Length = std::uint32_t;

template <class T>
void put(const T &value, std::string &bytes) {
    bytes.append(reinterpret_cast<const char *>(&value), sizeof value);
}

template <class T>
std::optional<T> take(std::string_view &bytes) {
    if (bytes.size() < sizeof(T))
        return std::nullopt;
    T value;
    std::memcpy(&value, bytes.data(), sizeof value);
    bytes.remove_prefix(sizeof value);
    return value;
}

void putText(const std::string &text, std::string &bytes) {
    put(static_cast<Length>(text.size()), bytes);
    bytes += text;
}

std::optional<std::string> takeText(std::string_view &bytes) {
    const auto length = take<Length>(bytes);
    if (!length || *length > bytes.size())
        return std::nullopt;
    std::string text(bytes.substr(0, *length));
    bytes.remove_prefix(*length);
    return text;
}

std::optional<Packet> packetOf(const Head &head, std::string_view bytes) {
    Packet packet{.what = head.what, .request = head.request, .number = head.number};
    for (std::uint32_t number = 0; number < head.texts; ++number) {
        auto text = takeText(bytes);
        if (!text)
            return std::nullopt;
        packet.lines.push_back(std::move(*text));
    }
    if (head.hasBody == 1 && !packet.lines.empty()) {
        packet.body = std::move(packet.lines.back());
        packet.lines.pop_back();
    }
    const bool isWhole = bytes.empty() && head.hasBody == (packet.body ? 1 : 0);
    return isWhole ? std::optional(std::move(packet)) : std::nullopt;
}

} // namespace

void append(const Packet &packet, std::string &bytes) {
    std::size_t size = packet.body ? sizeof(Length) + packet.body->size() : 0;
    for (const auto &line : packet.lines)
        size += sizeof(Length) + line.size();
    bytes.reserve(bytes.size() + sizeof(Head) + size);
    put(Head{.what = packet.what,
             .texts = static_cast<std::uint32_t>(packet.lines.size() + (packet.body ? 1 : 0)),
             .request = packet.request,
             .number = packet.number,
             .hasBody = packet.body ? 1U : 0U,
             .size = static_cast<std::uint32_t>(size)},
        bytes);
    for (const auto &line : packet.lines)
        putText(line, bytes);
    if (packet.body)
        putText(*packet.body, bytes);
}

std::expected<std::optional<Packet>, PacketReader::Garbage> PacketReader::next() {
    std::string_view bytes(m_bytes);
    const auto head = take<Head>(bytes);
    if (!head)
        return std::nullopt;
    if (head->what > What::failure || head->size > LARGEST_PACKET)
        return std::unexpected(Garbage{});
    if (bytes.size() < head->size)
        return std::nullopt;
    auto packet = packetOf(*head, bytes.substr(0, head->size));
    if (!packet)
        return std::unexpected(Garbage{});
    m_bytes.erase(0, sizeof(Head) + head->size);
    return packet;
}

} // namespace ombru::http
