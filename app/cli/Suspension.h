// While one lives, Ctrl-Z stops what the program has started before it stops the program itself, and continuing lets
// all go on; the clock leaves out the time in between. Where nobody could continue the program, all goes on at once,
// which is said. One at a time; main thread.
#pragma once
#include "base/Wake.h"

#include <functional>
#include <memory>

class QSocketNotifier;

namespace ombru {

class Suspension {
public:
    struct Listener {
        std::function<void()> before = [] {}; // for what is not to be seen meanwhile
        std::function<void()> after = [] {};
    };
    explicit Suspension(Listener listener);
    ~Suspension();
    Suspension(const Suspension &) = delete;
    Suspension &operator=(const Suspension &) = delete;

    // For what keeps the main thread from its event loop: stops here when that is wanted. Any thread; but on others it
    // does nothing.
    static void takePlace();

private:
    void stop();

    Listener m_listener;
    Wake m_wake;
    std::unique_ptr<QSocketNotifier> m_onWake;
    void (*m_before)(int);
};

} // namespace ombru
