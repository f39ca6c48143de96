#include "osascript/RunBlocking.h"

#include "base/ChildExit.h"
#include "base/Family.h"
#include "base/KeeperWire.h"
#include "base/Program.h"
#include "osascript/Ending.h"
#include "platform/linux/consent/ScriptMark.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace ombru {

namespace {

constexpr std::size_t CHUNK = 1 << 16;
constexpr qsizetype TURN = 1 << 20; // bytes from one stream before the others are looked at

struct Streams {
    Pipe in;
    Pipe out;
    Pipe err;
};

Result<Streams> openStreams() {
    Streams streams;
    for (auto *pipe : {&streams.in, &streams.out, &streams.err}) {
        auto made = makePipe();
        if (!made)
            return std::unexpected(made.error());
        *pipe = std::move(*made);
    }
    for (const int end : {streams.in.writing.number(), streams.out.reading.number(), streams.err.reading.number()})
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    return streams;
}

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
Result<pid_t> spawnInGroup(const QStringList &words, const Streams &streams,
                           const std::optional<Environment> &environment) {
    return spawn({.program = words.first(),
                  .arguments = words.sliced(1),
                  .directory = {},
                  .environment = withoutKeeper(environment.value_or(ownEnvironment())),
                  .input = streams.in.reading.number(),
                  .output = streams.out.writing.number(),
                  .errors = streams.err.writing.number(),
                  .inherited = handedOn(),
                  .ownSession = false});
}

qsizetype bytesIn(const Descriptor &pipe) {
    int bytes = 0;
    return pipe.isOpen() && ::ioctl(pipe.number(), FIONREAD, &bytes) == 0 ? bytes : 0;
}

// Takes at most that many bytes of what is in the pipe now: one who writes faster than we read must not keep us here.
// False at the pipe's end.
bool drain(const Descriptor &pipe, qsizetype most, QByteArray &into) {
    std::array<char, CHUNK> bytes;
    while (most > 0) {
        const auto got = ::read(pipe.number(), bytes.data(), std::min<std::size_t>(bytes.size(), std::size_t(most)));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return got < 0 && errno == EAGAIN;
        into.append(bytes.data(), got);
        most -= got;
    }
    return true;
}

// As much as the pipe takes now; false when nothing is left to give, or nobody takes it.
bool feed(const Descriptor &pipe, QByteArray &input) {
    while (!input.isEmpty()) {
        const auto put = ::write(pipe.number(), input.constData(), std::size_t(input.size()));
        if (put > 0)
            input.remove(0, put);
        else if (errno != EINTR)
            return errno == EAGAIN;
    }
    return false;
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

Result<pid_t> startAwaited(const QStringList &words, const Streams &streams,
                           const std::optional<Environment> &environment) {
    const std::lock_guard lock(awaited()->mutex);
    auto pid = spawnInGroup(words, streams, environment);
    if (pid)
        awaited()->child = *pid;
    return pid;
}

// What poll() waits: -1 is for ever.
int millisecondsUntil(const std::optional<Clock::Time> &end) {
    constexpr std::chrono::milliseconds LONGEST = std::chrono::hours(1);
    if (!end)
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end - Clock::now());
    return int(std::clamp(left, std::chrono::milliseconds(0), LONGEST).count());
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

// Gives it the input and takes what it writes until it ends; false when the time is over before.
bool attend(const Descriptor &child, Streams &streams, QByteArray input, const std::optional<Clock::Time> &end,
            applescript::ShellOutcome &outcome) {
    while (true) {
        if (streams.in.writing.isOpen() && !feed(streams.in.writing, input))
            streams.in.writing.close();
        // A closed descriptor's number is -1, which poll passes over.
        std::array<pollfd, 4> waits{pollfd{child.number(), POLLIN, 0},
                                    {streams.in.writing.number(), POLLOUT, 0},
                                    {streams.out.reading.number(), POLLIN, 0},
                                    {streams.err.reading.number(), POLLIN, 0}};
        ::poll(waits.data(), waits.size(), millisecondsUntil(end));
        if (waits[0].revents != 0)
            return true;
        if (end && *end <= Clock::now())
            return false;
        if (streams.out.reading.isOpen() && !drain(streams.out.reading, TURN, outcome.out))
            streams.out.reading.close();
        if (streams.err.reading.isOpen() && !drain(streams.err.reading, TURN, outcome.err))
            streams.err.reading.close();
    }
}

} // namespace

Result<applescript::ShellOutcome> runBlocking(const QStringList &words, const QByteArray &input,
                                              const std::optional<Environment> &environment,
                                              std::optional<Clock::Time> end) {
    auto streams = openStreams();
    if (!streams)
        return std::unexpected(streams.error());
    const auto pid = startAwaited(words, *streams, environment);
    if (!pid)
        return std::unexpected(pid.error());
    streams->in.reading.close();
    streams->out.writing.close();
    streams->err.writing.close();

    const auto child = watchExit(*pid, words.first());
    applescript::ShellOutcome outcome;
    const bool ended = child && attend(*child, *streams, input, end, outcome);
    if (!ended)
        endAwaited();
    if (!child) // then there may have been no descriptor for the ending either
        ::kill(*pid, SIGKILL);
    // All it wrote is in the pipes by now; what others go on writing is not waited for.
    drain(streams->out.reading, bytesIn(streams->out.reading), outcome.out);
    drain(streams->err.reading, bytesIn(streams->err.reading), outcome.err);
    outcome.status = statusOf(*pid);
    if (!child)
        return std::unexpected(child.error());
    if (!ended)
        return std::unexpected(processFailure(ETIMEDOUT, words.first()));
    return outcome;
}

} // namespace ombru
