// Writes so many bytes to its standard output and as many to its standard error, as fast as they are taken.
// Usage: bench-writer BYTES
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr std::size_t PIECE = 1 << 18;
std::array<char, PIECE> piece;

} // namespace

int main(int argc, char **argv) {
    const std::size_t bytes = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 0;
    std::array<std::size_t, 2> left{bytes, bytes};
    std::array<pollfd, 2> writable{pollfd{STDOUT_FILENO, POLLOUT, 0}, pollfd{STDERR_FILENO, POLLOUT, 0}};
    for (const pollfd &stream : writable)
        fcntl(stream.fd, F_SETFL, O_NONBLOCK);
    while (left[0] + left[1] > 0) {
        poll(writable.data(), writable.size(), -1);
        for (std::size_t i = 0; i < 2; ++i) {
            if (left[i] == 0 || !(writable[i].revents & POLLOUT))
                continue;
            const ssize_t written = write(writable[i].fd, piece.data(), std::min(left[i], PIECE));
            left[i] -= static_cast<std::size_t>(std::max<ssize_t>(written, 0));
            if (left[i] == 0)
                writable[i].fd = -1;
        }
    }
}
