// Tells the main thread that the owner wants the program to stop: Ctrl-C or Ctrl-\, a request to end, a closed
// terminal. While one lives those signals do nothing else, and those that are ignored still are.
#pragma once
#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace ombru {

class Interrupt {
public:
    explicit Interrupt(std::function<void()> interrupted);
    ~Interrupt();
    Interrupt(const Interrupt &) = delete;
    Interrupt &operator=(const Interrupt &) = delete;

    // Whether that is wanted and the main thread has not been told yet: for what keeps it. Any thread.
    static bool isWanted();
    static bool wasWanted(); // or has been told

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace ombru
