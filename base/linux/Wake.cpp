#include "base/Wake.h"

#include <sys/eventfd.h>

namespace ombru {

Wake::Wake() : m_descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void Wake::ring() {
    // Cannot fail: the counter is read before it could overflow.
    [[maybe_unused]] const int done = ::eventfd_write(m_descriptor.number(), 1);
}

void Wake::clear() {
    // A wake that was cleared already finds nothing to read.
    eventfd_t count = 0;
    [[maybe_unused]] const int done = ::eventfd_read(m_descriptor.number(), &count);
}

} // namespace ombru
