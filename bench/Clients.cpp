#include "bench/Clients.h"

#include "bench/ClientSocket.h"
#include "bench/Race.h"

#include <algorithm>
#include <numeric>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace ombru::bench {

namespace {

using namespace std::chrono_literals;
using Steady = std::chrono::steady_clock;

constexpr Span BEAT = 20ms;
constexpr Span PATIENCE = 60s;     // with an answer
constexpr std::int64_t A_FEW = 25; // calls that start, or speak, at a time
constexpr qsizetype FRAME = 160;   // bytes of 20 ms

// As the provider says them; nothing here depends on their numbers.
QByteArray startOf(std::size_t call) {
    const auto number = QByteArray::number(static_cast<qulonglong>(call)).rightJustified(32, '0');
    return masked(R"({"event":"connected","protocol":"Call","version":"1.0.0"})") +
           masked(R"({"event":"start","sequenceNumber":"1","start":{"streamSid":"MZ)" + number + R"(","callSid":"CA)" +
                  number + R"(","tracks":["inbound"],"customParameters":{}},"streamSid":"MZ)" + number + R"("})");
}

QByteArray silence() {
    const auto payload = QByteArray(FRAME, '\xff').toBase64();
    return masked(R"({"event":"media","sequenceNumber":"2","media":{"track":"inbound","chunk":"1","timestamp":"0",)"
                  R"("payload":")" +
                  payload + R"("},"streamSid":"MZ00000000000000000000000000000000"})");
}

Span mean(std::span<const Span> spans) {
    return std::accumulate(spans.begin(), spans.end(), Span()) / std::max<std::ptrdiff_t>(1, std::ssize(spans));
}

// Each frame's lateness on the earliest grid that none precedes.
std::vector<Span> lateness(const std::vector<Moment> &arrivals) {
    std::vector<Span> late(arrivals.size());
    for (std::size_t at = 0; at < arrivals.size(); ++at)
        late[at] = arrivals[at] - arrivals[0] - BEAT * static_cast<std::int64_t>(at);
    const auto least = late.empty() ? Span() : *std::ranges::min_element(late);
    std::ranges::for_each(late, [least](Span &span) { span -= least; });
    return late;
}

} // namespace

double micros(Span span) {
    return std::chrono::duration<double, std::micro>(span).count();
}

Span percentile(std::vector<Span> &spans, double share) {
    if (spans.empty())
        return {};
    const auto rank = static_cast<std::ptrdiff_t>(share * static_cast<double>(spans.size() - 1));
    std::nth_element(spans.begin(), spans.begin() + rank, spans.end());
    return spans[static_cast<std::size_t>(rank)];
}

Clients::Clients(std::uint16_t port, const QByteArray &path, int count)
    : m_clients(static_cast<std::size_t>(count)), m_ready(::epoll_create1(EPOLL_CLOEXEC)),
      m_buffer(1 << 20, Qt::Uninitialized) {
    for (std::size_t at = 0; at < m_clients.size(); ++at) {
        auto &socket = m_clients[at].socket;
        socket = connected(port);
        write(socket, request(path + "?token=bench"));
        m_clients[at].frames.append(awaitAnswer(socket));
        epoll_event event{.events = EPOLLIN, .data = {.u64 = at}};
        ::epoll_ctl(m_ready.number(), EPOLL_CTL_ADD, socket.number(), &event);
    }
}

void Clients::poll(Span wait, const OnText &onText) {
    const auto nanoseconds = std::max<std::int64_t>(0, std::chrono::nanoseconds(wait).count());
    const timespec limit{nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
    std::array<epoll_event, 512> events;
    const int count = ::epoll_pwait2(m_ready.number(), events.data(), int(events.size()), &limit, nullptr);
    for (int at = 0; at < count; ++at)
        read(m_clients[events[static_cast<std::size_t>(at)].data.u64], onText);
}

void Clients::read(Client &client, const OnText &onText) {
    const auto count =
        ::recv(client.socket.number(), m_buffer.data(), static_cast<std::size_t>(m_buffer.size()), MSG_DONTWAIT);
    if (count < 0 && errno == EAGAIN)
        return;
    if (count <= 0)
        fail("a server has dropped a client");
    client.frames.append({m_buffer.data(), count});
    for (auto frame = client.frames.next(); frame && *frame; frame = client.frames.next()) {
        if ((*frame)->opcode != Opcode::text)
            fail("a server sent no text");
        onText(client, (*frame)->payload);
    }
}

// --- Echoes

Echoes Clients::echo(qsizetype size, Span duration) {
    const QByteArray text(size, 'x');
    const auto frame = masked(text);
    std::vector<Span> delays;
    const auto begin = Steady::now();
    const auto end = begin + duration;
    std::size_t waiting = 0;
    const auto send = [&](Client &client) {
        client.sent = Steady::now();
        write(client.socket, frame);
        ++waiting;
    };
    std::ranges::for_each(m_clients, send);
    while (waiting > 0)
        poll(PATIENCE, [&](Client &client, QByteArrayView answer) {
            if (answer != text)
                fail("a text came back otherwise");
            --waiting;
            const auto now = Steady::now();
            if (now >= end)
                return;
            delays.push_back(now - client.sent);
            send(client);
        });
    const auto count = static_cast<double>(delays.size());
    return {count / std::chrono::duration<double>(duration).count(), percentile(delays, 0.99)};
}

// --- Calls

// Those that have been started.
bool Clients::allHear(std::size_t count) const {
    return std::ranges::all_of(std::span(m_clients).first(count),
                               [](const Client &client) { return !client.sound.empty(); });
}

void Clients::startCalls() {
    for (std::size_t at = 0; at < m_clients.size(); ++at) {
        write(m_clients[at].socket, startOf(at));
        if ((at + 1) % std::size_t(A_FEW) != 0 && at + 1 < m_clients.size())
            continue;
        const auto end = Steady::now() + PATIENCE; // on a busy machine a few calls take seconds
        speakUntil([&] {
            if (Steady::now() > end)
                fail("a call stays silent");
            return allHear(at + 1);
        });
    }
}

void Clients::hear(Client &client, QByteArrayView text) {
    if (text.first(40).contains(R"("media")"))
        client.sound.push_back(Steady::now());
    else
        onOther(text);
}

// The sound of each is due at its own time within the 20 ms.
void Clients::speakUntil(const std::function<bool()> &done) {
    const auto sound = silence();
    const auto begin = Steady::now();
    const auto count = static_cast<std::int64_t>(m_clients.size());
    for (std::int64_t at = 0; !done();) {
        const auto left = begin + BEAT * at / count - Steady::now();
        if (left <= Span())
            write(m_clients[static_cast<std::size_t>(at++ % count)].socket, sound);
        if (left > Span() || at % A_FEW == 0) // who is behind with speaking must still hear
            poll(left, [this](Client &client, QByteArrayView text) { hear(client, text); });
    }
}

Cadence Clients::measure(Span duration) {
    for (auto &client : m_clients)
        client.sound.clear();
    const auto end = Steady::now() + duration;
    speakUntil([end] { return Steady::now() >= end; });
    Cadence cadence;
    std::vector<Span> all;
    for (const auto &client : m_clients) {
        const auto late = lateness(client.sound);
        const auto tenth = late.size() / 10;
        const std::span spans(late);
        cadence.drift += (mean(spans.last(tenth)) - mean(spans.first(tenth))) / std::ssize(m_clients);
        all.insert(all.end(), late.begin(), late.end());
    }
    cadence.share = double(all.size()) / (double(duration / BEAT) * double(m_clients.size()));
    cadence.half = percentile(all, 0.5);
    cadence.most = percentile(all, 0.99);
    cadence.worst = percentile(all, 1);
    return cadence;
}

void Clients::listen(const std::function<bool()> &more) {
    while (more())
        poll(1ms, [this](Client &client, QByteArrayView text) { hear(client, text); });
}

// --- Upgrades

std::uint64_t comeAndGo(std::uint16_t port, int atOnce, Span duration) {
    const auto end = Steady::now() + duration;
    const auto bytes = request("/?token=bench");
    std::uint64_t count = 0;
    while (Steady::now() < end) {
        std::vector<Descriptor> sockets;
        for (int at = 0; at < atOnce; ++at) {
            sockets.push_back(connected(port));
            write(sockets.back(), bytes);
        }
        for (const auto &socket : sockets) {
            awaitAnswer(socket);
            const linger none{1, 0}; // no port stays taken
            ::setsockopt(socket.number(), SOL_SOCKET, SO_LINGER, &none, sizeof none);
            ++count;
        }
    }
    return count;
}

} // namespace ombru::bench
