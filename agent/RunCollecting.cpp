#include "agent/RunCollecting.h"

#include <cerrno>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

Failure ended(int code, const QString &why) {
    return {u"run"_s, code, why};
}

QString inSeconds(Clock::Duration limit) {
    return QString::number(std::chrono::duration<double>(limit).count()) + u" s"_s;
}

} // namespace

Task<Result<Collected>> runCollecting(std::shared_ptr<Process> process) {
    if (const auto started = process->start(); !started)
        co_return std::unexpected(started.error());
    co_await process->ended();
    if (process->overflowed())
        co_return std::unexpected(
            ended(EFBIG, u"it printed more than %1 MB and was ended"_s.arg(process->outputLimit() >> 20)));
    co_return Collected{process->takeOutput(), process->takeErrors(), process->status(), process->signal()};
}

Task<Result<Collected>> collectWithin(std::shared_ptr<Process> process, Clock::Duration limit, std::stop_token stop) {
    const auto timedOut = std::make_shared<bool>(false);
    const auto timer = Loop::main().after(limit, [weak = std::weak_ptr(process), timedOut] {
        if (const auto running = weak.lock()) {
            *timedOut = running->isRunning();
            running->terminate();
        }
    });
    const std::stop_callback onStop(stop, [process] { process->terminate(); });
    auto collected = co_await runCollecting(process);
    if (collected && stop.stop_requested())
        co_return std::unexpected(ended(ECANCELED, u"it was called off"_s));
    if (collected && *timedOut)
        co_return std::unexpected(ended(ETIMEDOUT, u"no answer within "_s + inSeconds(limit)));
    co_return collected;
}

} // namespace ombru
