#include "applescript/values/Stack.h"

#include "applescript/values/Errors.h"

#include <cstdint>

namespace ombru::applescript {

namespace {

// Half of the usual 8 MiB: the host's own calls need room below the deepest level of a script.
constexpr std::intptr_t BUDGET = 4 * 1024 * 1024;
thread_local std::intptr_t entered = 0;

// The real frame, also under sanitizers that keep locals elsewhere.
std::intptr_t here() {
    return reinterpret_cast<std::intptr_t>(__builtin_frame_address(0));
}

} // namespace

StackScope::StackScope() : m_outermost(entered == 0) {
    if (m_outermost)
        entered = here();
}

StackScope::~StackScope() {
    if (m_outermost)
        entered = 0;
}

bool stackIsExhausted() {
    return entered != 0 && entered - here() > BUDGET;
}

void checkStack() {
    if (stackIsExhausted())
        throw ScriptError{error::STACK_OVERFLOW, QStringLiteral("Stack overflow.")};
}

} // namespace ombru::applescript
