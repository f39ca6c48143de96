#include "base/Program.h"

#include <csignal>
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

} // namespace ombru
