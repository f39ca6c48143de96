// Running a child process and collecting what it prints, against the least that can be done by hand and against the
// framework's own class.
#include "agent/RunCollecting.h"
#include "bench/Race.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QProcess>

#include <array>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

struct Child {
    QString program;
    QStringList arguments;
    qsizetype bytes = 0; // that it prints on each stream
};

void check(const Child &child, qsizetype out, qsizetype err) {
    if (out != child.bytes || err != child.bytes)
        bench::fail("lost output of " + child.program.toStdString());
}

void collect(const Child &child) {
    const auto result =
        QCoro::waitFor(runCollecting(Process::make({.program = child.program, .arguments = child.arguments})));
    if (!result)
        bench::fail(result.error().description.toStdString());
    check(child, result->out.size(), result->err.size());
}

pid_t spawnByHand(const Child &child, int out, int err) {
    std::vector<QByteArray> words{child.program.toLocal8Bit()};
    for (const QString &argument : child.arguments)
        words.push_back(argument.toLocal8Bit());
    std::vector<char *> arguments;
    for (QByteArray &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err, STDERR_FILENO);
    pid_t pid = 0;
    if (posix_spawn(&pid, arguments[0], &actions, nullptr, arguments.data(), environ) != 0)
        bench::fail("posix_spawn failed");
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

void collectByHand(const Child &child) {
    std::array<std::array<int, 2>, 2> pipes{};
    for (auto &pipe : pipes)
        if (pipe2(pipe.data(), O_CLOEXEC) != 0)
            bench::fail("no pipe");
    const pid_t pid = spawnByHand(child, pipes[0][1], pipes[1][1]);
    std::array<QByteArray, 2> collected;
    std::array<pollfd, 2> readable{pollfd{pipes[0][0], POLLIN, 0}, pollfd{pipes[1][0], POLLIN, 0}};
    for (auto &pipe : pipes)
        close(pipe[1]);
    std::array<char, 65536> piece;
    while (readable[0].fd >= 0 || readable[1].fd >= 0) {
        poll(readable.data(), readable.size(), -1);
        for (std::size_t i = 0; i < 2; ++i) {
            if (readable[i].fd < 0 || readable[i].revents == 0)
                continue;
            const ssize_t size = read(readable[i].fd, piece.data(), piece.size());
            if (size > 0)
                collected[i].append(piece.data(), size);
            else
                readable[i].fd = -1;
        }
    }
    for (auto &pipe : pipes)
        close(pipe[0]);
    waitpid(pid, nullptr, 0);
    check(child, collected[0].size(), collected[1].size());
}

void collectWithQProcess(const Child &child) {
    QProcess process;
    QEventLoop loop;
    QByteArray out;
    QByteArray err;
    QObject::connect(&process, &QProcess::readyReadStandardOutput, &process,
                     [&] { out += process.readAllStandardOutput(); });
    QObject::connect(&process, &QProcess::readyReadStandardError, &process,
                     [&] { err += process.readAllStandardError(); });
    QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
    process.start(child.program, child.arguments);
    loop.exec();
    check(child, (out + process.readAllStandardOutput()).size(), (err + process.readAllStandardError()).size());
}

void raceWith(const char *title, int rounds, const Child &child, double aimByHand, double aimQProcess) {
    bench::race(title, rounds,
                {{"runCollecting", [&] { collect(child); }},
                 {"posix_spawn + poll", [&] { collectByHand(child); }, aimByHand},
                 {"QProcess", [&] { collectWithQProcess(child); }, aimQProcess}});
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    raceWith("A small child (/bin/true)", 301, {u"/bin/true"_s, {}}, 0.9, 0);
    const QString writer = QCoreApplication::applicationDirPath() + u"/bench-writer"_s;
    raceWith("10 MB on each pipe", 101, {writer, {QString::number(10 << 20)}, 10 << 20}, 0, 1.8);
}
