#include "base/OneHeap.h"

#include <malloc.h>

namespace ombru {

void takeMemoryFromOneHeap() {
    ::mallopt(M_ARENA_MAX, 1);
}

} // namespace ombru
