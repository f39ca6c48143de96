#include "agent/InputRelease.h"

#include "agent/RunCollecting.h"
#include "platform/Keeper.h"

#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

Task<> waitFor(std::shared_ptr<Process> process) {
    co_await process->ended();
}

} // namespace

Task<> releaseHeldInput() {
    constexpr Clock::Duration PROMPT = 500ms;
    const auto program = inputReleasePath();
    if (program.isEmpty())
        co_return;
    // One that takes too long is ended; the keeper's own goes on alone.
    const auto process = Process::make({.program = program, .afterForcedEnd = program});
    co_await collectWithin(process, PROMPT, {});
}

ReleaseOnDeath::ReleaseOnDeath(TaskScope &tasks) {
    const auto program = inputReleasePath();
    auto pipe = program.isEmpty() ? Result<Pipe>() : makePipe();
    if (!pipe || !pipe->reading.isOpen())
        return;
    const auto process = Process::make({.program = program,
                                        .arguments = {u"--unless-dismissed"_s},
                                        .inherited = {pipe->reading.number()},
                                        .afterForcedEnd = program});
    if (!process->start())
        return;
    m_farewell = std::move(pipe->writing);
    tasks.start(waitFor(process));
}

ReleaseOnDeath::~ReleaseOnDeath() {
    [[maybe_unused]] const auto told = m_farewell.isOpen() ? ::write(m_farewell.number(), ".", 1) : 0;
}

} // namespace ombru
