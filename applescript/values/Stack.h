// The one guard against scripts and values that are nested too deeply: everything recursive in the language asks here
// how much of the thread's stack it has used, so that such input ends in an error and never in a crash.
#pragma once

namespace ombru::applescript {

// Marks where the language was entered on this thread. Nested scopes keep the outermost mark.
class StackScope {
public:
    StackScope();
    ~StackScope();
    StackScope(const StackScope &) = delete;
    StackScope &operator=(const StackScope &) = delete;

private:
    bool m_outermost;
};

bool stackIsExhausted();

// Throws ScriptError -2706 when the stack is exhausted.
void checkStack();

} // namespace ombru::applescript
