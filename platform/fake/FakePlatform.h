// The computer as a test scripts it: what its facilities answer, and what was asked of them. One a process; a test
// calls reset() before it begins. Main thread, but where a field says otherwise.
#pragma once
#include "platform/ColourScheme.h"
#include "platform/DesktopLock.h"
#include "platform/Diagnosis.h"
#include "platform/Notifications.h"
#include "platform/OwnerShell.h"
#include "platform/PeerProcess.h"
#include "platform/Screenshot.h"
#include "platform/StopKey.h"
#include "platform/SystemLog.h"
#include "platform/Workspace.h"
#include "platform/fake/FakeDesktop.h"

#include <QStringList>

#include <functional>
#include <vector>

namespace ombru {

struct FakePlatform {
    QString osascript; // path of the tool that runs scripts
    QString keeper;    // empty: there is none
    QString inputRelease;
    OwnerShell ownerShell;
    QString loginItemPath;
    QString hostName = QStringLiteral("desk");

    // What is on the screen. Called on a background thread; may wait there.
    std::function<Result<Picture>()> screenshot = [] { return plainPicture(640, 480, 0x336699); };
    QSize screenSize{1512, 982}; // empty: the display goes away while its picture is taken

    // What a task that wants the desktop for itself is answered. Called on a background thread; may wait there.
    std::function<Result<std::optional<DesktopLock>>()> desktopLock = [] { return DesktopLock(); };

    QString desktopName;
    Result<QString> runtimeDirectory = std::unexpected(Failure{QStringLiteral("runtime"), 1, QStringLiteral("none")});
    std::optional<Peer> peer = Peer{1, true}; // at the other end of every socket
    bool servesAScript = false;               // every process

    struct Logged {
        LogLevel level;
        QString subsystem;
        QString category;
        QString text;
    };
    std::vector<Logged> logged; // appended to from any thread; look once what logs has ended

    struct NotificationUpdate {
        QString id;
        std::optional<Notification> notification; // none: taken away
    };
    std::vector<NotificationUpdate> notifications; // in the order they were asked for
    bool notificationsAllowed = true;
    int notificationPermissionRequests = 0;

    Check screenCheck{true, QStringLiteral("a screen"), {}};
    Check inputCheck{true, QStringLiteral("a keyboard"), {}};
    Check notificationCheck{true, QStringLiteral("a notification server"), {}};

    struct WantedKey {
        KeyCombination keys;
        std::function<void()> press;
    };
    std::optional<WantedKey> stopKey; // that is wanted now
    bool stopKeyWorks = true;
    Result<> stopKeyUsable;                         // any thread: set before it is asked
    std::function<void()> syntheticInput;           // a program presses something; empty while nobody watches
    std::function<void()> clicks;                   // a person clicks; the same
    std::function<void(ColourScheme)> colourScheme; // its owner wants it; the same

    QStringList openedInTerminal; // command files, in the order they were opened
    Result<> terminal;            // what opening one answers

    Result<> windowsShown; // what asking for a display answers

    Guarded<FakeDesktop> desktop; // any thread

    // One colour, 0xRRGGBB.
    static Picture plainPicture(int width, int height, std::uint32_t colour);

    static FakePlatform &instance();
    static void reset() { instance() = {}; }
};

} // namespace ombru
