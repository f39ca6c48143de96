#include "platform/linux/system/Detached.h"

#include "base/OpenFiles.h"
#include "base/Spawn.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <vector>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// What the new process needs, made before it is forked: between fork and exec nothing may be allocated.
struct Start {
    QByteArray program;
    QByteArray directory;
    std::vector<char *> arguments;
    std::vector<char *> variables;
    int report; // pipe that gets errno when the start fails, and closes when it succeeds
};

[[noreturn]] void giveUp(int report) {
    const int error = errno;
    // Without a reader there is nobody to tell.
    [[maybe_unused]] const auto written = ::write(report, &error, sizeof error);
    ::_exit(127);
}

void resetSignals() {
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number)
        ::sigaction(number, &action, nullptr); // fails for those that cannot be changed anyway
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Only calls that are allowed after a fork with threads.
[[noreturn]] void become(const Start &start) {
    constexpr int REPORT = 3;
    ::setsid();
    resetSignals();
    limitFiles(filesOfChildren());
    const int nothing = ::open("/dev/null", O_RDWR);
    if (nothing < 0)
        giveUp(start.report);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(nothing, stream);
    if (start.report != REPORT)
        ::dup2(start.report, REPORT);
    ::fcntl(REPORT, F_SETFD, FD_CLOEXEC);
    ::syscall(SYS_close_range, REPORT + 1, ~0U, 0);
    if (::chdir(start.directory.constData()) != 0)
        giveUp(REPORT);
    ::execve(start.program.constData(), start.arguments.data(), start.variables.data());
    giveUp(REPORT);
}

// The process in between ends at once, so that the program is handed to the system's first process.
Result<> forkTwice(const Start &start) {
    const pid_t between = ::fork();
    if (between < 0)
        return std::unexpected(processFailure(errno, QFile::decodeName(start.program)));
    if (between == 0) {
        const pid_t last = ::fork();
        if (last < 0)
            giveUp(start.report);
        if (last == 0)
            become(start);
        ::_exit(0);
    }
    while (::waitpid(between, nullptr, 0) < 0 && errno == EINTR) {
    }
    return {};
}

std::vector<char *> pointersTo(std::vector<QByteArray> &words) {
    std::vector<char *> pointers;
    for (QByteArray &word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

Result<> startDetached(const QStringList &command, const QString &directory) {
    const auto name = command.value(0);
    const auto path = name.contains(u'/') ? name : QStandardPaths::findExecutable(name);
    if (path.isEmpty())
        return std::unexpected(processFailure(ENOENT, name));
    auto pipe = makePipe();
    if (!pipe)
        return std::unexpected(pipe.error());

    std::vector<QByteArray> words;
    for (const QString &word : command)
        words.push_back(word.toUtf8());
    std::vector<QByteArray> variables;
    for (const auto &[variable, value] : ownersEnvironment())
        variables.push_back(variable + '=' + value);
    const Start start{QFile::encodeName(path), QFile::encodeName(directory.isEmpty() ? QDir::homePath() : directory),
                      pointersTo(words), pointersTo(variables), pipe->writing.number()};
    if (const auto forked = forkTwice(start); !forked)
        return forked;

    pipe->writing.close();
    int error = 0;
    ssize_t count = 0;
    while ((count = ::read(pipe->reading.number(), &error, sizeof error)) < 0 && errno == EINTR) {
    }
    if (count == sizeof error)
        return std::unexpected(processFailure(error, path));
    return {};
}

} // namespace ombru
