#include "bench/Telling.h"

#include "bench/ClientSocket.h"
#include "bench/Race.h"

#include <algorithm>
#include <array>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace ombru::bench {

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

constexpr Span PATIENCE = 60s;
constexpr std::int64_t A_FEW = 25;                // events, before what has come is looked at
constexpr QByteArrayView MARK = R"("text":"at )"; // of a moment, and nothing else that is sent has it

} // namespace

Telling::Telling(std::uint16_t port, const std::vector<Visitor> &computers, const std::vector<Visitor> &pages)
    : m_computers(computers.size()), m_ready(::epoll_create1(EPOLL_CLOEXEC)), m_buffer(1 << 20, Qt::Uninitialized) {
    m_clients.reserve(computers.size() + pages.size());
    for (const auto &computer : computers)
        visit(port, computer);
    const auto origin = "Origin: http://localhost:" + QByteArray::number(port) + "\r\n"; // of the page's file
    for (auto page : pages) {
        page.headers += origin;
        visit(port, page);
    }
    const auto end = Steady::now() + PATIENCE;
    while (!std::ranges::all_of(m_clients, [](const Client &client) { return client.awaited.isEmpty(); })) {
        if (Steady::now() > end)
            fail("a client is not answered");
        poll(10ms);
    }
}

void Telling::visit(std::uint16_t port, const Visitor &visitor) {
    const auto at = m_clients.size();
    auto &client = m_clients.emplace_back(connected(port));
    client.awaited = visitor.answer;
    write(client.socket, request(visitor.path, visitor.headers));
    take(client, awaitAnswer(client.socket));
    if (!visitor.greeting.isEmpty())
        write(client.socket, masked(visitor.greeting));
    epoll_event event{.events = EPOLLIN, .data = {.u64 = at}};
    ::epoll_ctl(m_ready.number(), EPOLL_CTL_ADD, client.socket.number(), &event);
}

void Telling::poll(Span wait) {
    const auto nanoseconds = std::max<std::int64_t>(0, std::chrono::nanoseconds(wait).count());
    const timespec limit{nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
    std::array<epoll_event, 512> events;
    const int count = ::epoll_pwait2(m_ready.number(), events.data(), int(events.size()), &limit, nullptr);
    for (int at = 0; at < count; ++at)
        read(m_clients[events[static_cast<std::size_t>(at)].data.u64]);
}

void Telling::read(Client &client) {
    const auto count =
        ::recv(client.socket.number(), m_buffer.data(), static_cast<std::size_t>(m_buffer.size()), MSG_DONTWAIT);
    if (count < 0 && errno == EAGAIN)
        return;
    if (count <= 0)
        fail("a service has dropped a client");
    take(client, {m_buffer.data(), count});
}

void Telling::take(Client &client, QByteArrayView bytes) {
    client.frames.append(bytes);
    for (auto frame = client.frames.next(); frame && *frame; frame = client.frames.next())
        hear(client, **frame);
}

void Telling::hear(Client &client, const Frame &frame) {
    if (frame.opcode == Opcode::ping)
        return write(client.socket, masked(frame.payload.toByteArray(), Opcode::pong));
    if (frame.opcode != Opcode::text)
        fail("a service sent no text");
    if (!client.awaited.isEmpty() && frame.payload.contains(client.awaited))
        client.awaited.clear();
    const auto now = Steady::now();
    for (auto at = frame.payload.indexOf(MARK); at >= 0; at = frame.payload.indexOf(MARK, at)) {
        at += MARK.size();
        const auto rest = frame.payload.sliced(at);
        m_delays.push_back(now.time_since_epoch() - Span(rest.first(rest.indexOf(' ')).toLongLong()));
    }
}

// A line as agents write them.
void Telling::tellOne(const Descriptor &socket) {
    const auto moment = QByteArray::number(qint64(Steady::now().time_since_epoch().count()));
    write(socket, masked(R"({"type":"event","kind":"claude","text":"at )" + moment +
                         R"( the window is open; next its search field gets the words, and then the list below it )"
                         R"(has to show what was found","time":1764000000.5})"));
}

Told Telling::tell(int aSecond, std::chrono::seconds duration) {
    m_delays.clear();
    const auto count = static_cast<std::int64_t>(m_computers);
    const auto events = count * aSecond * duration.count();
    const auto begin = Steady::now();
    for (std::int64_t at = 0; at < events;) {
        const auto left = begin + Span(1s) * at / (count * aSecond) - Steady::now();
        if (left <= Span())
            tellOne(m_clients[static_cast<std::size_t>(at++ % count)].socket);
        if (left > Span() || at % A_FEW == 0) // who is behind with telling must still hear
            poll(left);
    }
    const auto told = Steady::now();
    const auto pages = m_clients.size() - m_computers;
    const auto awaited = pages * static_cast<std::size_t>(aSecond * duration.count());
    while (m_delays.size() < awaited) {
        if (Steady::now() > told + PATIENCE)
            fail("pages have not got " + std::to_string(awaited - m_delays.size()) + " events");
        poll(10ms);
    }
    return {events, double(events) / std::chrono::duration<double>(told - begin).count(), std::move(m_delays)};
}

} // namespace ombru::bench
