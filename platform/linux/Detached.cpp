#include "platform/linux/Detached.h"

#include "base/Spawn.h"

#include <QDir>
#include <QStandardPaths>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// What the new process needs, made before the fork: after it only calls that need no memory are allowed.
struct Prepared {
    QByteArray program;
    QByteArray home;
    std::vector<QByteArray> words;
    std::vector<char *> arguments;
};

Prepared prepare(const QString &program, const QStringList &words) {
    Prepared prepared{QFile::encodeName(program), QFile::encodeName(QDir::homePath()), {}, {}};
    for (const auto &word : words)
        prepared.words.push_back(word.toLocal8Bit());
    for (auto &word : prepared.words)
        prepared.arguments.push_back(word.data());
    prepared.arguments.push_back(nullptr);
    return prepared;
}

// In the grandchild: no handler or stream of ours goes with it.
[[noreturn]] void become(Prepared &prepared, int report) {
    for (int signal = 1; signal < NSIG; ++signal)
        ::signal(signal, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    const int null = ::open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(null, stream);
    ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    if (::chdir(prepared.home.constData()) != 0 && ::chdir("/") != 0)
        ::_exit(127);
    ::execv(prepared.program.constData(), prepared.arguments.data());
    const int error = errno;
    [[maybe_unused]] const auto written = ::write(report, &error, sizeof error);
    ::_exit(127);
}

} // namespace

Result<> startDetached(const QStringList &words) {
    const auto name = words.value(0);
    const auto program = name.startsWith(u'/') ? name : QStandardPaths::findExecutable(name);
    if (program.isEmpty())
        return std::unexpected(processFailure(ENOENT, name));
    auto prepared = prepare(program, words);
    auto report = makePipe(); // closed by a successful exec
    if (!report)
        return std::unexpected(report.error());

    const auto child = ::fork();
    if (child < 0)
        return std::unexpected(processFailure(errno, name));
    if (child == 0) {
        ::setsid();
        // The second one is nobody's child and can never get a terminal.
        if (::fork() == 0)
            become(prepared, report->writing.number());
        ::_exit(0);
    }
    report->writing.close();
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    int error = 0;
    ssize_t got = 0;
    do {
        got = ::read(report->reading.number(), &error, sizeof error);
    } while (got < 0 && errno == EINTR);
    if (got > 0)
        return std::unexpected(processFailure(error, name));
    return {};
}

} // namespace ombru
