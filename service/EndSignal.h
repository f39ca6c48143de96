// Tells the main thread that whoever runs the program wants it to end: Ctrl-C, or a request of the system. While one
// lives those signals do nothing else, but for one that is ignored; the second ends the program at once. Main thread,
// one at a time.
#pragma once
#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace ombru {

class EndSignal {
public:
    explicit EndSignal(std::function<void()> wanted);
    ~EndSignal();
    EndSignal(const EndSignal &) = delete;
    EndSignal &operator=(const EndSignal &) = delete;

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace ombru
