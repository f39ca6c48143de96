#include "base/Task.h"

namespace ombru {

Task<> sleep(Clock::Duration duration, std::stop_token stop) {
    const Completion over;
    const auto timer = Loop::main().after(duration, [over] { over.fire(); });
    const std::stop_callback onStop(stop, [over] { over.fire(); });
    co_await over;
}

} // namespace ombru
