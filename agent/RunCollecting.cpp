#include "agent/RunCollecting.h"

#include <cerrno>

namespace ombru {

using namespace Qt::StringLiterals;

Task<Result<Collected>> runCollecting(std::shared_ptr<Process> process) {
    if (const auto started = process->start(); !started)
        co_return std::unexpected(started.error());
    co_await process->ended();
    if (process->overflowed())
        co_return std::unexpected(Failure{
            u"process"_s, EFBIG, u"it printed more than %1 MB and was ended"_s.arg(process->outputLimit() >> 20)});
    co_return Collected{process->takeOutput(), process->takeErrors(), process->status()};
}

} // namespace ombru
