// ombru -c LINE: a program in the application's place, beside an osascript, that has a shell do what the application
// has its scripts do, and hands down to it what they get. Ends as the shell did.
#include "base/Program.h"
#include "base/Spawn.h"
#include "platform/ScriptTool.h"

#include <cerrno>
#include <cstdio>
#include <sys/wait.h>

using namespace ombru;

int main(int argc, char **argv) {
    beginProgram();
    const QCoreApplication application(argc, argv);
    const auto shell = spawn({.program = QStringLiteral("/bin/sh"),
                              .arguments = QCoreApplication::arguments().sliced(1),
                              .directory = {},
                              .environment = {},
                              .input = STDIN_FILENO,
                              .output = STDOUT_FILENO,
                              .errors = STDERR_FILENO,
                              .inherited = osascriptInherits(),
                              .ownSession = false});
    if (!shell) {
        std::fprintf(stderr, "%s\n", qPrintable(shell.error().description));
        return 127;
    }
    int status = 0;
    while (::waitpid(*shell, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
