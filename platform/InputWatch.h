// Tells that a program types or clicks, as scripts of a task do, or that a person clicks. Main thread.
#pragma once
#include <functional>
#include <memory>

namespace ombru {

class InputWatch {
public:
    enum class What {
        programs, // each key and button that a program presses
        clicks,   // each click of a person, wherever
    };

    // Calls back while it lives. It costs a wake-up for each that anybody presses.
    InputWatch(What what, std::function<void()> onInput);
    ~InputWatch();
    InputWatch(const InputWatch &) = delete;
    InputWatch &operator=(const InputWatch &) = delete;

private:
    class Watch;
    std::unique_ptr<Watch> m_watch; // null where the display does not tell
};

} // namespace ombru
