#include "base/Program.h"

#include "base/KeeperWire.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

namespace ombru {

namespace {

// Children inherit it, too.
void setAccountsHome() {
    const char *home = std::getenv("HOME");
    const passwd *account = home && *home ? nullptr : ::getpwuid(::geteuid());
    if (account && account->pw_dir)
        ::setenv("HOME", account->pw_dir, 1);
}

} // namespace

void beginProgram() {
    setAccountsHome();
    std::signal(SIGCHLD, SIG_DFL);
    std::signal(SIGPIPE, SIG_IGN);
    // The lowest number that is free is given, so this ends behind the standard streams.
    int opened = 0;
    while (opened >= 0 && opened <= STDERR_FILENO)
        opened = ::open("/dev/null", O_RDWR);
    if (opened > STDERR_FILENO)
        ::close(opened);
}

bool ignores(int signal) {
    struct sigaction present = {};
    return ::sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

int statusWhenPrinted(int status) {
    const bool arrived = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (arrived || status != 0)
        return status;
    std::fputs("The output could not be written.\n", stderr);
    return 1;
}

std::string openedMark() {
    const char *word = std::getenv(keeper::WORD_VARIABLE);
    return openedMark(word ? word : std::to_string(::getpid()));
}

std::string openedMark(const std::string &word) {
    return "OMBRU_OPENED=" + word;
}

} // namespace ombru
