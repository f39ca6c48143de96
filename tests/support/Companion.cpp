#include "tests/support/Companion.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ombru::test {
namespace {

constexpr int GUARD_MILLISECONDS = 60'000;

[[noreturn]] void become(const std::vector<char *> &arguments) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nowhere = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nowhere, stream);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

// Empty when the program ended or never wrote one.
QByteArray readLine(int pipe) {
    QByteArray line;
    pollfd readable{pipe, POLLIN, 0};
    char c = 0;
    while (poll(&readable, 1, GUARD_MILLISECONDS) == 1 && read(pipe, &c, 1) == 1 && c != '\n')
        line += c;
    return line;
}

} // namespace

Companion::Companion(const QByteArrayList &command, const char *package) {
    int ready[2];
    if (pipe(ready) != 0)
        std::abort();
    QByteArrayList words = command;
    std::vector<char *> arguments;
    for (QByteArray &word : words)
        arguments.push_back(word.replace("%fd", QByteArray::number(ready[1])).data());
    arguments.push_back(nullptr);
    m_pid = fork();
    if (m_pid == 0)
        become(arguments);
    close(ready[1]);
    m_line = readLine(ready[0]);
    close(ready[0]);
    if (m_line.isEmpty()) {
        std::fprintf(stderr, "%s did not start (Debian package: %s)\n", command.first().constData(), package);
        std::abort();
    }
}

Companion::~Companion() {
    end(SIGTERM);
}

void Companion::signal(int number) const {
    kill(m_pid, number);
}

void Companion::end(int number) {
    if (m_pid == 0)
        return;
    kill(m_pid, number);
    kill(m_pid, SIGCONT);
    waitpid(m_pid, nullptr, 0);
    m_pid = 0;
}

} // namespace ombru::test
