// Starts a child through the keeper, a small program that stays between the two and sees to it that everything the
// child has started ends when that is asked for, or when this process ends, however it does. The part of Process that
// knows the keeper. Any thread.
#pragma once
#include "base/Spawn.h"

#include <chrono>
#include <optional>

namespace ombru {

struct Kept {
    pid_t keeper = 0;  // the child of this process; ends as the program does
    pid_t session = 0; // of the program
    Descriptor lifeline;
};

// `afterwards`, when it is not empty, is a program that the keeper runs after an end that was forced. Returns once the
// program runs, or could not be started: the Failure is spawn()'s for it.
Result<Kept> spawnKept(const QString &keeper, const QString &afterwards, const SpawnRequest &request);

// All of the program is asked to end, and killed after the grace.
void endKept(const Kept &kept, std::chrono::milliseconds grace);

// The same for one that nobody waits for any more.
void endKeptSoon(const Kept &kept);

// All of the program is stopped, but what works for others; none of it holds keys or a lock by then. To be asked of all
// that are to be stopped, and then waited for: blocks until it is done or that time is over.
void stopKept(const Kept &kept);
void awaitStopped(const Kept &kept, std::chrono::steady_clock::time_point deadline);
void continueKept(const Kept &kept);

// Once the keeper has ended: what the program has left running, "name (number)" each. None when the keeper was killed:
// then nobody has ended what there was.
std::optional<QStringList> leftByKept(const Kept &kept);

// What the keeper would have done, as far as its session shows it. Blocks for a second or two.
void endWithoutKeeper(const Kept &kept, const QString &afterwards);

} // namespace ombru
