#include "base/Program.h"

#include "base/KeeperWire.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace ombru {

void beginProgram() {
    std::signal(SIGCHLD, SIG_DFL);
    std::signal(SIGPIPE, SIG_IGN);
    // The lowest number that is free is given, so this ends behind the standard streams.
    int opened = 0;
    while (opened >= 0 && opened <= STDERR_FILENO)
        opened = ::open("/dev/null", O_RDWR);
    if (opened > STDERR_FILENO)
        ::close(opened);
}

std::string openedMark() {
    const char *word = std::getenv(keeper::WORD_VARIABLE);
    return openedMark(word ? word : std::to_string(::getpid()));
}

std::string openedMark(const std::string &word) {
    return "OMBRU_OPENED=" + word;
}

} // namespace ombru
