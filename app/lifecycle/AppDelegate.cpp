#include "app/lifecycle/AppDelegate.h"

#include "base/Background.h"
#include "notifier/Notifier.h"
#include "platform/LoginItem.h"
#include "platform/SystemLog.h"

namespace ombru {

void AppDelegate::applicationDidFinishLaunching() {
    Notifier::requestPermission();
    const bool wasSetUp = m_settings.loginItemDefaulted();
    setUpOnce(m_settings.loginItemDefaulted, [this] { m_tasks.start(atLogin(registerLoginItem)); });
    setUpOnce(m_settings.shownMenuBarHint, m_showHint);
    if (wasSetUp)
        m_tasks.start(atLogin(repairLoginItem));
}

bool AppDelegate::applicationShouldHandleReopen(bool) {
    m_showHint();
    return false;
}

// Written before it is done, so that what fails, or is interrupted, is not done again at the next start. Where it
// cannot be written it is not done at all: it would be at every start.
void AppDelegate::setUpOnce(BooleanSetting &done, const std::function<void()> &action) {
    if (done())
        return;
    if (const auto written = done.write(true); written)
        action();
    else
        logger::error(written.error().description);
}

// Not tried again, and nobody is told: whoever wants it finds it in the desktop's own settings.
Task<> AppDelegate::atLogin(Result<> (*change)()) {
    const auto changed = co_await background(change);
    if (!changed)
        logger::error(changed.error().description);
}

} // namespace ombru
