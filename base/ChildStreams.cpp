#include "base/ChildStreams.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>

namespace ombru {

namespace {

constexpr std::size_t CHUNK = 1 << 16;
constexpr qsizetype TURN = 1 << 20; // bytes from one stream before the others are looked at

qsizetype bytesIn(const Descriptor &pipe) {
    int bytes = 0;
    return pipe.isOpen() && ::ioctl(pipe.number(), FIONREAD, &bytes) == 0 ? bytes : 0;
}

// Takes at most that many bytes of what is in the pipe now: one who writes faster than we read must not keep us here.
// False at the pipe's end.
bool drain(const Descriptor &pipe, qsizetype most, QByteArray &into) {
    std::array<char, CHUNK> bytes;
    while (most > 0) {
        const auto got = ::read(pipe.number(), bytes.data(), std::min<std::size_t>(bytes.size(), std::size_t(most)));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return got < 0 && errno == EAGAIN;
        into.append(bytes.data(), got);
        most -= got;
    }
    return true;
}

void take(Descriptor &pipe, QByteArray &into) {
    if (pipe.isOpen() && !drain(pipe, TURN, into))
        pipe.close();
}

// As much as the pipe takes now; false when nothing is left to give, or nobody takes it.
bool feed(const Descriptor &pipe, QByteArray &input) {
    while (!input.isEmpty()) {
        const auto put = ::write(pipe.number(), input.constData(), std::size_t(input.size()));
        if (put > 0)
            input.remove(0, put);
        else if (errno != EINTR)
            return errno == EAGAIN;
    }
    return false;
}

// What poll() waits: -1 is for ever.
int millisecondsUntil(const std::optional<Clock::Time> &end) {
    constexpr std::chrono::milliseconds LONGEST = std::chrono::hours(1);
    if (!end)
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - Clock::now());
    return int(std::clamp(left, std::chrono::milliseconds(0), LONGEST).count());
}

} // namespace

Result<ChildStreams> ChildStreams::open() {
    ChildStreams streams;
    for (auto *pipe : {&streams.m_in, &streams.m_out, &streams.m_err}) {
        auto made = makePipe();
        if (!made)
            return std::unexpected(made.error());
        *pipe = std::move(*made);
    }
    for (const auto *end : {&streams.m_in.writing, &streams.m_out.reading, &streams.m_err.reading})
        ::fcntl(end->number(), F_SETFL, O_NONBLOCK);
    return streams;
}

ChildStreams::Outcome ChildStreams::attend(const Descriptor &child, QByteArray input, const Until &until) {
    closeChildsEnds();
    while (true) {
        if (m_in.writing.isOpen() && !feed(m_in.writing, input))
            m_in.writing.close();
        // A closed descriptor's number is -1, which poll passes over.
        std::array<pollfd, 5> waits{pollfd{child.number(), POLLIN, 0},
                                    {m_in.writing.number(), POLLOUT, 0},
                                    {m_out.reading.number(), POLLIN, 0},
                                    {m_err.reading.number(), POLLIN, 0},
                                    {until.stop, POLLIN, 0}};
        ::poll(waits.data(), waits.size(), millisecondsUntil(until.end));
        if (waits[0].revents != 0)
            return Outcome::ended;
        if (waits[4].revents != 0)
            return Outcome::stopped;
        if (until.end && *until.end <= Clock::now())
            return Outcome::late;
        take(m_out.reading, output);
        take(m_err.reading, errors);
        if (output.size() + errors.size() > until.most)
            return Outcome::overflowed;
    }
}

void ChildStreams::takeRest() {
    drain(m_out.reading, bytesIn(m_out.reading), output);
    drain(m_err.reading, bytesIn(m_err.reading), errors);
}

void ChildStreams::closeChildsEnds() {
    m_in.reading.close();
    m_out.writing.close();
    m_err.writing.close();
}

} // namespace ombru
