#include "base/Helper.h"

#include "base/ChildExit.h"
#include "base/ChildStreams.h"
#include "base/Lifeline.h"
#include "base/Wake.h"

#include <cerrno>
#include <csignal>
#include <optional>
#include <sys/wait.h>

namespace ombru {

namespace {

constexpr std::chrono::seconds GRACE(2); // for a helper that takes back what it has begun

Result<int> statusOf(pid_t child, const QString &program) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR)
            return std::unexpected(processFailure(errno, program));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::optional<int> errorOf(ChildStreams::Outcome outcome) {
    switch (outcome) {
    case ChildStreams::Outcome::ended:
        return std::nullopt;
    case ChildStreams::Outcome::late:
        return ETIMEDOUT;
    case ChildStreams::Outcome::stopped:
        return ECANCELED;
    case ChildStreams::Outcome::overflowed:
        return EFBIG;
    }
    Q_UNREACHABLE();
}

} // namespace

Result<HelperAnswer> callHelper(const HelperCall &call) {
    if (call.stop.stop_requested())
        return std::unexpected(processFailure(ECANCELED, call.program));
    auto streams = ChildStreams::open();
    if (!streams)
        return std::unexpected(streams.error());
    auto lifeline = makePipe();
    if (!lifeline)
        return std::unexpected(lifeline.error());
    Wake stopped;
    const std::stop_callback onStop(call.stop, [&stopped] { stopped.ring(); });

    const auto child = spawn({.program = call.program,
                              .arguments = call.arguments,
                              .input = streams->childsInput(),
                              .output = streams->childsOutput(),
                              .errors = streams->childsErrors(),
                              .inherited = {lifeline->reading.number()}});
    if (!child)
        return std::unexpected(child.error());
    static_assert(HELPER_LIFELINE == 3, "the first that a child inherits");

    const auto ended = watchExit(*child, call.program);
    const auto error =
        ended ? errorOf(streams->attend(
                    *ended, call.input,
                    {.end = Clock::now() + call.limit, .stop = stopped.descriptor(), .most = call.outputLimit}))
              : ended.error().code;
    if (error) {
        lifeline->writing.close();
        if (!ended || !endsWithin(*ended, GRACE))
            ::kill(*child, SIGKILL); // nobody has waited for it, so that the number is its own
    }
    const auto status = statusOf(*child, call.program);
    if (error)
        return std::unexpected(ended ? processFailure(*error, call.program) : ended.error());
    if (!status)
        return std::unexpected(status.error());
    streams->takeRest();
    return HelperAnswer{std::move(streams->output), std::move(streams->errors), *status};
}

} // namespace ombru
