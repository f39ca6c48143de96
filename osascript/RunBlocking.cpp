#include "osascript/RunBlocking.h"

#include "base/ChildExit.h"
#include "base/ChildStreams.h"
#include "base/Family.h"
#include "base/KeeperWire.h"
#include "base/Program.h"
#include "osascript/Ending.h"
#include "platform/linux/consent/ScriptMark.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <sys/wait.h>
#include <unistd.h>

namespace ombru {

namespace {

// What a shell starts is the script's, not the owner's.
Environment withoutKeeper(Environment environment) {
    environment.erase(keeper::WORD_VARIABLE);
    return environment;
}

// By which what a script starts is known for the application's, like the script.
std::vector<int> handedOn() {
    static const auto mark = inheritedMark();
    return mark ? std::vector{mark->descriptor} : std::vector<int>();
}

// In this program's group, and without other files of this program.
Result<pid_t> spawnInGroup(const QStringList &words, const ChildStreams &streams,
                           const std::optional<Environment> &environment) {
    return spawn({.program = words.first(),
                  .arguments = words.sliced(1),
                  .directory = {},
                  .environment = withoutKeeper(environment.value_or(ownEnvironment())),
                  .input = streams.childsInput(),
                  .output = streams.childsOutput(),
                  .errors = streams.childsErrors(),
                  .inherited = handedOn(),
                  .ownSession = false});
}

constexpr std::chrono::seconds GRACE(1);

// Orphans became this program's, too.
void reapChildren() {
    while (::waitpid(-1, nullptr, WNOHANG) > 0) {
    }
}

// The child that is waited for now; it ends with this program, and all others that it has started, too. Shared with the
// thread that sees to that.
struct Awaited {
    std::mutex mutex;
    pid_t child = 0;
    Family all = Family::ofThisProcess(openedMark());
};

void endAll(const Family &all) {
    const auto deadline = std::chrono::steady_clock::now() + GRACE;
    all.end([deadline] {
        reapChildren(); // orphans without end would fill the table of processes
        return deadline;
    });
}

const std::shared_ptr<Awaited> &awaited() {
    static const auto only = [] {
        auto made = std::make_shared<Awaited>();
        beforeEnding([made] {
            made->mutex.lock(); // for good: the script does not go on
            endAll(made->all);
        });
        return made;
    }();
    return only;
}

Result<pid_t> startAwaited(const QStringList &words, const ChildStreams &streams,
                           const std::optional<Environment> &environment) {
    const std::lock_guard lock(awaited()->mutex);
    auto pid = spawnInGroup(words, streams, environment);
    if (pid)
        awaited()->child = *pid;
    return pid;
}

void endAwaited() {
    const std::lock_guard lock(awaited()->mutex);
    const auto deadline = std::chrono::steady_clock::now() + GRACE;
    Family::ofProcess(awaited()->child).end([deadline] { return deadline; });
}

int statusOf(pid_t pid) {
    stayIfEnding(); // the signal may have ended the child as well: that is no failure of the child's
    {
        const std::lock_guard lock(awaited()->mutex); // its number may be another's once it was waited for
        awaited()->child = 0;
    }

    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    stayIfEnding(); // or the ending has taken the status
    reapChildren();
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

Result<applescript::ShellOutcome> runBlocking(const QStringList &words, const QByteArray &input,
                                              const std::optional<Environment> &environment,
                                              std::optional<Clock::Time> end) {
    auto streams = ChildStreams::open();
    if (!streams)
        return std::unexpected(streams.error());
    const auto pid = startAwaited(words, *streams, environment);
    if (!pid)
        return std::unexpected(pid.error());

    const auto child = watchExit(*pid, words.first());
    const bool ended = child && streams->attend(*child, input, {.end = end}) == ChildStreams::Outcome::ended;
    if (!ended)
        endAwaited();
    if (!child) // then there may have been no descriptor for the ending either
        ::kill(*pid, SIGKILL);
    streams->takeRest(); // all that it wrote
    const int status = statusOf(*pid);
    if (!child)
        return std::unexpected(child.error());
    if (!ended)
        return std::unexpected(processFailure(ETIMEDOUT, words.first()));
    return applescript::ShellOutcome{status, std::move(streams->output), std::move(streams->errors)};
}

} // namespace ombru
