// How long the smallest script takes from start to end: what every script pays before it does anything.
#include "bench/Race.h"

#include <QCoreApplication>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace ombru;

namespace {

constexpr int ROUNDS = 101;

void runToEnd(std::vector<std::string> command) {
    std::vector<char *> arguments;
    for (std::string &word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const int error = posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = -1;
    if (error != 0 || waitpid(child, &status, 0) != child || status != 0)
        bench::fail("failed: " + command[0] + " " + std::strerror(error));
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    const std::string osascript = QCoreApplication::applicationDirPath().toStdString() + "/osascript";
    bench::race("The smallest script, start to end", ROUNDS,
                {{"osascript -e 'return 1'", [&] { runToEnd({osascript, "-e", "return 1"}); }},
                 {"python3 -c 1", [] { runToEnd({"/usr/bin/python3", "-c", "1"}); }, 1}});
}
