// Whether the desktop's owner wants windows light or dark, as desktops tell every program, whatever it is made with.
// Main thread; nothing here waits for the desktop.
#pragma once
#include <functional>
#include <memory>

namespace ombru {

enum class ColourScheme { unknown, light, dark }; // unknown: it does not say, or wants neither

class ColourSchemeWatch {
public:
    // Calls back while it lives, from the event loop: as soon as it is told, and with each change.
    explicit ColourSchemeWatch(std::function<void(ColourScheme)> onChange);
    ~ColourSchemeWatch();
    ColourSchemeWatch(const ColourSchemeWatch &) = delete;
    ColourSchemeWatch &operator=(const ColourSchemeWatch &) = delete;

private:
    class Desk;
    std::unique_ptr<Desk> m_desk;
};

} // namespace ombru
