#include "agent/InputRelease.h"

#include "agent/RunCollecting.h"
#include "platform/Keeper.h"

namespace ombru {

using namespace std::chrono_literals;

Task<> releaseHeldInput() {
    constexpr Clock::Duration PROMPT = 500ms;
    const auto program = inputReleasePath();
    if (program.isEmpty())
        co_return;
    // One that takes too long is ended; the keeper's own goes on alone.
    const auto process = Process::make({.program = program, .afterForcedEnd = program});
    co_await collectWithin(process, PROMPT, {});
}

} // namespace ombru
