#include "base/OpenFiles.h"

#include <algorithm>
#include <atomic>
#include <sys/resource.h>

namespace ombru {

namespace {

constexpr rlim_t MANY = 65'536;

std::atomic<unsigned long> usual = 0; // before there were to be many

} // namespace

void allowManyFiles() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    const auto before = limit.rlim_cur;
    limit.rlim_cur = std::min(limit.rlim_max, MANY);
    if (limit.rlim_cur > before && ::setrlimit(RLIMIT_NOFILE, &limit) == 0)
        usual = before;
}

unsigned long filesOfChildren() {
    return usual;
}

void limitFiles(unsigned long most) {
    rlimit limit{};
    if (most == 0 || ::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return;
    limit.rlim_cur = std::min<rlim_t>(most, limit.rlim_max);
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

} // namespace ombru
