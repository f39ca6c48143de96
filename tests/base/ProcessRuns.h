// Child processes as the tests of base/Process start and await them.
#pragma once
#include "base/Process.h"
#include "tests/support/Processes.h"

namespace ombru::test {

using namespace Qt::StringLiterals;

constexpr qsizetype MEGABYTE = 1'000'000;

inline Process::Command shell(const QString &script) {
    return {.program = u"/bin/sh"_s, .arguments = {u"-c"_s, script}};
}

struct Run {
    int status = -1;
    QByteArray out;
    QByteArray err;
};

inline Run end(const std::shared_ptr<Process> &process) {
    await(process->ended());
    return {process->status(), process->takeOutput(), process->takeErrors()};
}

inline Run run(Process::Command command) {
    const auto process = Process::make(std::move(command));
    const auto started = process->start();
    if (!started) {
        ADD_FAILURE() << started.error().description.toStdString();
        return {};
    }
    return end(process);
}

inline Failure failedStart(Process::Command command) {
    const auto process = Process::make(std::move(command));
    const auto started = process->start();
    EXPECT_FALSE(started);
    EXPECT_FALSE(process->isRunning());
    return started ? Failure{} : started.error();
}

} // namespace ombru::test
