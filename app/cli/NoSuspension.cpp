#include "app/cli/NoSuspension.h"

#include <atomic>
#include <csignal>

namespace ombru {

namespace {

std::atomic<bool> wished = false;

extern "C" void noteWish(int) {
    wished = true;
}

} // namespace

// A handler and not to ignore it, which programs that are started would inherit.
NoSuspension::NoSuspension() : m_before(std::signal(SIGTSTP, noteWish)) {
    wished = false;
    if (m_before == SIG_IGN)
        std::signal(SIGTSTP, SIG_IGN);
}

NoSuspension::~NoSuspension() {
    std::signal(SIGTSTP, m_before);
}

bool NoSuspension::takeWish() {
    return wished.exchange(false);
}

} // namespace ombru
