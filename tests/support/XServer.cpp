#include "tests/support/XServer.h"

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

[[noreturn]] void runServer(const QByteArrayList &command) {
    std::vector<char *> arguments;
    for (const QByteArray &argument : command)
        arguments.push_back(const_cast<char *>(argument.constData()));
    arguments.push_back(nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int nowhere = open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nowhere, stream);
    execvp(arguments[0], arguments.data());
    _exit(127);
}

// The number it writes once it accepts clients; empty when it ended or never wrote one.
QByteArray readNumber(int pipe) {
    QByteArray number;
    pollfd readable{pipe, POLLIN, 0};
    char c = 0;
    while (poll(&readable, 1, GUARD_MILLISECONDS) == 1 && read(pipe, &c, 1) == 1 && c != '\n')
        number += c;
    return number;
}

} // namespace

XServer::XServer(const QByteArray &screen, const QByteArrayList &arguments) : m_display(qgetenv("DISPLAY")) {
    int number[2];
    if (pipe(number) != 0)
        std::abort();
    const QByteArrayList command =
        QByteArrayList{"Xvfb", "-displayfd", QByteArray::number(number[1]), "-screen", "0", screen, "-nolisten",
                       "tcp",  "-noreset"} +
        arguments;
    m_pid = fork();
    if (m_pid == 0)
        runServer(command);
    close(number[1]);
    const QByteArray display = readNumber(number[0]);
    close(number[0]);
    if (display.isEmpty()) {
        std::fputs("Xvfb did not start (Debian package: xvfb)\n", stderr);
        std::abort();
    }
    qputenv("DISPLAY", ":" + display);
}

XServer::~XServer() {
    end(SIGTERM);
    qputenv("DISPLAY", m_display);
}

void XServer::signal(int number) const {
    kill(m_pid, number);
}

void XServer::end(int number) {
    if (m_pid == 0)
        return;
    kill(m_pid, number);
    waitpid(m_pid, nullptr, 0);
    m_pid = 0;
}

} // namespace ombru::test
