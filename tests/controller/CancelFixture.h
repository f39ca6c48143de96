// A task that is cancelled, or ended with the program.
#pragma once
#include "tests/controller/LoopFixture.h"
#include "tests/support/Processes.h"

namespace ombru::test {

class CancelFixture : public LoopFixture {
protected:
    // Cancels in the middle of the turn, where that event is: the await that follows it notices.
    void cancelAt(const QString &start) {
        cancelling = state->onEvent([this, start](const Event &event) {
            if (event.text.startsWith(start))
                state->cancelTask();
        });
    }

    void expectStopped() {
        EXPECT_EQ(state->status(), QStringLiteral("cancelling…"));
        expectStoppedAtOnce();
    }

    void expectStoppedAtOnce() {
        EXPECT_EQ(finish(), (TaskResult{TaskResult::Outcome::cancelled, QStringLiteral("Okay, stopped.")}));
        EXPECT_EQ(events.last(), QStringLiteral("warn: cancelled"));
        EXPECT_EQ(state->status(), QStringLiteral("cancelled"));
        EXPECT_EQ(state->taskActivity(), QStringLiteral("Stopped"));
        EXPECT_FALSE(state->busy);
    }

    // The process whose number a play wrote into the file of the home, once it has.
    qint64 processIn(const QString &file) { return pidIn(home.filePath(file)); }

    static bool isGone(qint64 pid) {
        return waitUntil([pid] { return !isAlive(pid); });
    }

    Subscription cancelling;

    bool until(const QString &eventStart) {
        return waitUntil([&] {
            return std::ranges::any_of(events, [&](const auto &event) { return event.startsWith(eventStart); });
        });
    }
};

} // namespace ombru::test
