// What happens once at the application's start, and when its owner starts it once more. Main thread. drain() before it
// is destroyed.
#pragma once
#include "base/Task.h"
#include "settings/Settings.h"

#include <functional>

namespace ombru {

class AppDelegate {
public:
    // `showHint` shows the running hint. Where notifications show while the application is in front is the desktop's
    // to decide, by the level that each of them has.
    AppDelegate(Settings &settings, std::function<void()> showHint)
        : m_settings(settings), m_showHint(std::move(showHint)) {}

    void applicationDidFinishLaunching();

    // False: no window is to be opened.
    bool applicationShouldHandleReopen(bool hasVisibleWindows);

    Task<> drain() { return m_tasks.drain(); }

private:
    void setUpOnce(BooleanSetting &done, const std::function<void()> &action);
    static Task<> atLogin(Result<> (*change)());

    Settings &m_settings;
    std::function<void()> m_showHint;
    TaskScope m_tasks;
};

} // namespace ombru
