#include "base/LargePages.h"

#include <sys/mman.h>

namespace ombru {

void reserveInLargePages(QByteArray &bytes, qsizetype capacity) {
    constexpr std::uintptr_t PAGE = 2 << 20;
    bytes.reserve(capacity);
    const auto before = reinterpret_cast<std::uintptr_t>(bytes.data()) % PAGE;
    const auto skipped = before == 0 ? 0 : PAGE - before;
    const auto size = static_cast<std::uintptr_t>(bytes.capacity());
    if (skipped + PAGE <= size)
        ::madvise(bytes.data() + skipped, (size - skipped) / PAGE * PAGE, MADV_HUGEPAGE);
}

} // namespace ombru
