#include "net/HttpProgram.h"

#include "base/ChildExit.h"
#include "base/Spawn.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int LEAVING = 500; // milliseconds that it has for its end
constexpr std::size_t CHUNK = 65'536;

Failure unusable(const QString &why) {
    return {u"http"_s, 0, why};
}

Failure notStarted(const Failure &why) {
    return unusable(u"The program that makes requests cannot be started; install ombru again: "_s + why.description);
}

bool mayComeLater() {
    return errno == EAGAIN || errno == EINTR;
}

} // namespace

Result<std::unique_ptr<HttpProgram>> HttpProgram::start(const QString &program) {
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        return std::unexpected(notStarted(processFailure(errno, u"making a socket"_s)));
    Descriptor own(ends[0]);
    const Descriptor others(ends[1]);
    const auto pid = spawn({.program = program,
                            .input = others.number(),
                            .output = others.number(),
                            .errors = STDERR_FILENO}); // what the system says when it cannot run
    if (!pid)
        return std::unexpected(notStarted(pid.error()));
    return std::unique_ptr<HttpProgram>(new HttpProgram(*pid, std::move(own)));
}

Failure HttpProgram::unreadable() {
    return unusable(
        u"The program that makes requests, ombru-http, is not the one of this ombru. Install ombru again."_s);
}

Failure HttpProgram::silent() {
    return unusable(
        u"The program that makes requests, ombru-http, does not answer. The next request starts it anew."_s);
}

HttpProgram::HttpProgram(pid_t pid, Descriptor socket) : m_pid(pid), m_socket(std::move(socket)) {}

HttpProgram::~HttpProgram() {
    if (m_pid != 0)
        awaitEnd();
}

// Gives how, as waitpid() does. It hears that nobody is here any more; one that does not is killed.
int HttpProgram::awaitEnd() {
    m_socket.close();
    const auto watched = watchExit(m_pid, u"ombru-http"_s);
    pollfd exit{.fd = watched ? watched->number() : -1, .events = POLLIN, .revents = 0};
    if (!watched || ::poll(&exit, 1, LEAVING) != 1)
        ::kill(m_pid, SIGKILL);
    int status = 0;
    ::waitpid(std::exchange(m_pid, 0), &status, 0);
    return status;
}

void HttpProgram::send() {
    while (!m_unsent.empty()) {
        const auto put = ::send(m_socket.number(), m_unsent.data(), m_unsent.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (put < 0)
            return; // receive() tells whether it has ended
        m_unsent.erase(0, static_cast<std::size_t>(put));
    }
}

Failure HttpProgram::ended() {
    const int status = awaitEnd();
    const auto how =
        WIFSIGNALED(status) ? u"by signal %1"_s.arg(WTERMSIG(status)) : u"with status %1"_s.arg(WEXITSTATUS(status));
    return unusable(
        u"The program that makes requests, ombru-http, has ended %1. The next request starts it anew."_s.arg(how));
}

Result<> HttpProgram::receive(std::vector<http::Packet> &packets) {
    std::array<char, CHUNK> bytes;
    while (true) {
        const auto got = ::recv(m_socket.number(), bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (got < 0 && mayComeLater())
            return {};
        if (got <= 0)
            return std::unexpected(ended());
        m_reader.append({bytes.data(), static_cast<std::size_t>(got)});
        auto packet = m_reader.next();
        for (; packet && *packet; packet = m_reader.next())
            packets.push_back(std::move(**packet));
        if (!packet)
            return std::unexpected(unreadable());
    }
}

} // namespace ombru
