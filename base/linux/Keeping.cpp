#include "base/Keeping.h"

#include "base/Family.h"
#include "base/KeeperWire.h"
#include "base/OpenFiles.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr auto STARTING = 10s; // a keeper that somebody has stopped
constexpr auto AFTERWARDS = 1s;
constexpr auto BRIEF = std::chrono::milliseconds(keeper::BRIEF_MILLISECONDS);
constexpr std::size_t LONGEST_FAREWELL = 64 << 10;

void waitFor(pid_t child) {
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
}

// A packet, or less than 1.
ssize_t receive(int lifeline, void *packet, std::size_t size, std::chrono::milliseconds limit, int flags = 0) {
    pollfd wait{lifeline, POLLIN, 0};
    while (::poll(&wait, 1, static_cast<int>(limit.count())) < 0 && errno == EINTR) {
    }
    return ::recv(lifeline, packet, size, MSG_DONTWAIT | flags);
}

// Takes the word that all are stopped; what else the keeper says stays for whoever waits for that.
void takeStopped(const Kept &kept, std::chrono::milliseconds limit) {
    constexpr std::string_view WORD = keeper::STOPPED;
    std::array<char, WORD.size()> packet{};
    const int lifeline = kept.lifeline.number();
    const auto got = receive(lifeline, packet.data(), packet.size(), limit, MSG_PEEK);
    if (got > 0 && std::string_view(packet.data(), std::size_t(got)) == WORD)
        ::recv(lifeline, packet.data(), packet.size(), MSG_DONTWAIT);
}

void tell(const Kept &kept, keeper::Wish wish) {
    ::send(kept.lifeline.number(), &wish, sizeof wish, MSG_NOSIGNAL | MSG_DONTWAIT);
}

} // namespace

Result<Kept> spawnKept(const QString &keeper, const QString &afterwards, const SpawnRequest &request) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return std::unexpected(processFailure(errno, u"making a socket"_s));
    Kept kept{0, 0, Descriptor(ends[0])};
    Descriptor theirs(ends[1]);

    auto through = request;
    through.program = keeper;
    through.arguments =
        QStringList{QString::number(filesOfChildren()), afterwards, request.program} + request.arguments;
    through.inherited.insert(through.inherited.begin(), theirs.number());
    const auto pid = spawn(through);
    if (!pid)
        return std::unexpected(pid.error().code == E2BIG ? processFailure(E2BIG, request.program) : pid.error());
    theirs.close();
    kept.keeper = *pid;

    keeper::Started started;
    if (receive(kept.lifeline.number(), &started, sizeof started, STARTING) != sizeof started) {
        ::kill(*pid, SIGKILL);
        started = {0, ECHILD};
    }
    if (started.error != 0) {
        waitFor(*pid);
        return std::unexpected(processFailure(started.error, request.program));
    }
    kept.session = started.process;
    return kept;
}

void endKept(const Kept &kept, std::chrono::milliseconds grace) {
    // One that is stopped hears it only when it goes on.
    ::kill(kept.keeper, SIGCONT);
    tell(kept, {keeper::Wish::For::end, static_cast<std::uint32_t>(grace.count())});
}

void endKeptSoon(const Kept &kept) {
    endKept(kept, BRIEF);
}

void stopKept(const Kept &kept) {
    tell(kept, {keeper::Wish::For::stop});
}

void awaitStopped(const Kept &kept, std::chrono::steady_clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    takeStopped(kept, std::max(left, 0ms));
}

void continueKept(const Kept &kept) {
    takeStopped(kept, 0ms); // that came too late
    tell(kept, {keeper::Wish::For::goOn});
}

std::optional<QStringList> leftByKept(const Kept &kept) {
    takeStopped(kept, 0ms);
    std::array<char, LONGEST_FAREWELL> packet; // not filled with zeros: what the stack has grown to once, it keeps
    const auto got = receive(kept.lifeline.number(), packet.data(), packet.size(), 0ms);
    const auto text = QString::fromUtf8(packet.data(), std::max<ssize_t>(got, 0));
    if (!text.startsWith(QLatin1StringView(keeper::FAREWELL)))
        return std::nullopt;
    return text.split(u'\n', Qt::SkipEmptyParts).sliced(1);
}

void endWithoutKeeper(const Kept &kept, const QString &afterwards) {
    const auto deadline = std::chrono::steady_clock::now() + BRIEF;
    Family::ofSession(kept.session).end([deadline] { return deadline; });
    const auto child = afterwards.isEmpty() ? 0 : spawn({.program = afterwards}).value_or(0);
    const auto end = std::chrono::steady_clock::now() + AFTERWARDS;
    while (child > 0 && ::waitpid(child, nullptr, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() >= end)
            ::kill(child, SIGKILL);
        std::this_thread::sleep_for(2ms);
    }
}

} // namespace ombru
