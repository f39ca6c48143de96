// The applications of the owner's desktop as they live on it: which one a window belongs to, whether one runs, starting
// it. One thread an object; objects are cheap. Waits, so not on the main thread of the application. Failures have
// domain "applications", and AppleScript's error number as their code.
#pragma once
#include "platform/linux/applications/Applications.h"
#include "platform/linux/system/WaitLimit.h"
#include "platform/linux/windows/Taskbar.h"

#include <QSet>

#include <chrono>
#include <functional>

namespace ombru {

Failure notInstalled(const QString &id);

class DesktopApplications {
public:
    // Asked when the windows are needed first; the taskbar outlives this object, as the limit of its waits does.
    using OpenTaskbar = std::function<Result<Taskbar *>()>;

    explicit DesktopApplications(OpenTaskbar openTaskbar, const WaitLimit &limit = UNLIMITED)
        : m_openTaskbar(std::move(openTaskbar)), m_limit(&limit) {}

    std::optional<DesktopEntry> withId(const QString &id) const;
    std::optional<DesktopEntry> ofWindow(const DesktopWindow &window) const;
    std::optional<DesktopEntry> defaultFor(const QString &mimeType, const QString &category = {}) const;

    Result<std::vector<DesktopWindow>> allWindows() const;
    Result<std::vector<DesktopWindow>> windowsOf(const QString &id) const; // topmost first
    bool isRunning(const QString &id) const;

    // When its program was begun a moment ago, waits for the first window that it is about to show. Returns at once
    // when it has windows, does not run, or has been running without any.
    void awaitStart(const DesktopEntry &entry) const;

    // Its windows once it has some; empty when the time is over.
    Result<std::vector<DesktopWindow>> awaitWindows(const DesktopEntry &entry, std::chrono::milliseconds time) const;

    // Starts it on these files, detached.
    Result<> start(const DesktopEntry &entry, const QStringList &files) const;

    // Starts it and puts the windows it shows out of the way: minimised where that can be done, and with the focus back
    // where it was. Returns then, or when it has shown nothing for some seconds; nothing to do when it runs.
    Result<> openHidden(const QString &id) const;

    // The owner's application for such addresses.
    std::optional<DesktopEntry> openerOfLocation(const QString &url) const;

    // All that such an address may start: that one, other entries of its program, and, where a general opener chooses,
    // what it could choose: programs for the web, for mail, and those of $BROWSER.
    std::vector<DesktopEntry> possibleOpeners(const QString &url) const;

    // With its opener; without one addresses of the web and of mail go to the desktop's own opener. A Failure for a
    // file, which is for the application of its kind.
    Result<> openLocation(const QString &url) const;

private:
    Result<> putAway(const DesktopEntry &entry, const DesktopWindow *focusedBefore) const;
    Result<bool> putAwayNow(const DesktopEntry &entry, const DesktopWindow *focusedBefore,
                            QSet<std::uint64_t> &staying) const;
    Result<> returnFocus(const DesktopEntry &entry, const DesktopWindow &before) const;

    OpenTaskbar m_openTaskbar;
    const WaitLimit *m_limit;
};

} // namespace ombru
