#include "platform/linux/consent/TerminalPrompt.h"

#include "base/Descriptor.h"
#include "platform/linux/consent/PromptLock.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <thread>

namespace ombru {

using namespace std::chrono_literals;

namespace {

constexpr auto PAUSE = 1s; // for what is on its way to the terminal
constexpr std::chrono::milliseconds ANSWERING = 10min;

void print(const Descriptor &terminal, const QString &text) {
    const auto bytes = text.toUtf8();
    // Nobody there reads it: then nobody answers either.
    [[maybe_unused]] const auto written = ::write(terminal.number(), bytes.constData(), std::size_t(bytes.size()));
}

// The terminal hands over whole lines.
std::optional<QByteArray> lineFrom(const Descriptor &terminal) {
    pollfd wait{terminal.number(), POLLIN, 0};
    int ready = 0;
    do
        ready = ::poll(&wait, 1, int(ANSWERING.count()));
    while (ready < 0 && errno == EINTR);
    std::array<char, 1024> line{};
    const auto count = ready > 0 ? ::read(terminal.number(), line.data(), line.size()) : -1;
    return count > 0 ? std::optional(QByteArray(line.data(), count).trimmed()) : std::nullopt;
}

} // namespace

std::optional<bool> askAtTerminal(const QString &question, const QString &database) {
    const Descriptor terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (!terminal.isOpen() || ::tcgetpgrp(terminal.number()) != ::getpgrp())
        return std::nullopt;
    const auto alone = PromptLock::forPrompt(database);
    if (!alone)
        return std::nullopt;
    print(terminal, question + QStringLiteral("\n"));
    std::this_thread::sleep_for(PAUSE);
    ::tcflush(terminal.number(), TCIFLUSH);
    print(terminal, QStringLiteral("Type \"yes\" if you want that: "));
    const auto line = lineFrom(terminal);
    return line ? std::optional(*line == "yes") : std::nullopt;
}

} // namespace ombru
