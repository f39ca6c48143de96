// Everything a script can do to the world outside the interpreter. The interpreter knows the language and the object
// models; the host knows this computer. One implementation works the real desktop, another one serves the tests.
//
// Thread: the interpreter's only thread; every call blocks until it is done. Positions and sizes are in points with
// their origin at the primary monitor's top left. A Failure's code is the AppleScript error number and its description
// the message without "NAME got an error: ".
#pragma once
#include "applescript/values/Application.h"
#include "base/Failure.h"

#include <QByteArray>
#include <QDateTime>
#include <QPoint>
#include <QSize>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <vector>

namespace ombru::applescript {

struct ShellOutcome {
    int status = 0; // exit status; 128 + signal when a signal ended the shell
    QByteArray out;
    QByteArray err;
};

struct NotificationRequest {
    QString text;
    QString title;
    QString subtitle;
    QString sound;
};

struct DialogRequest {
    enum class Kind { dialog, alert };
    enum class Icon { none, note, caution, stop };
    Kind kind = Kind::dialog;
    QString text;
    QString message; // an alert's second, smaller text
    QString title;
    Icon icon = Icon::none;
    QStringList buttons;                // at least one, left to right
    int defaultButton = -1;             // index, or -1 for none
    int cancelButton = -1;              // index; Escape and closing the window press it. -1 for none
    std::optional<QString> defaultText; // present: the dialog has a text field
    bool hiddenText = false;
    double givingUpAfter = 0; // seconds; 0 waits for ever
};

struct DialogAnswer {
    int button = -1; // index of the button pressed; -1 when it gave up, or was closed with no cancel button
    QString text;
    bool gaveUp = false;
};

struct ProcessInfo {
    qint64 pid = 0;
    QString name; // as the desktop shows the application
    QString id;   // the application's identifier; the executable's name when no desktop entry fits
    bool frontmost = false;
    bool visible = true; // false when every window is minimised
};

struct WindowInfo {
    std::uint64_t handle = 0; // valid while the window lives
    QString name;
    QPoint position;
    QSize size;
    bool minimized = false;
    bool focused = false;
};

enum class Modifier { command = 1, shift = 2, option = 4, control = 8 };
using Modifiers = int; // Modifier values or-ed together

enum class Click { single, twice, right };

enum class Folder {
    home,
    desktop,
    documents,
    downloads,
    music,
    pictures,
    movies,
    temporary,
    applications,
    preferences
};

class Host {
public:
    virtual ~Host() = default;

    // Standard Additions
    virtual Result<ShellOutcome> shell(const QString &command) = 0; // /bin/sh -c; null standard input
    virtual void delay(double seconds) = 0;
    virtual QDateTime now() = 0;
    virtual double random() = 0; // 0 <= x < 1
    virtual Result<> notify(const NotificationRequest &request) = 0;
    virtual Result<DialogAnswer> ask(const DialogRequest &request) = 0;
    virtual Result<QString> clipboard() = 0; // empty text when it holds none
    virtual Result<> setClipboard(const QString &text) = 0;
    virtual Result<> openLocation(const QString &url) = 0;
    virtual QString path(Folder folder) = 0;   // POSIX path without a "/" at the end
    virtual void log(const QString &line) = 0; // one line to standard error, at once

    // Asked before every event to an application, System Events included: whether the owner lets this script send it.
    // Blocks while the owner is asked. A Failure has code -1743 and the whole message.
    virtual Result<> authorize(const Application &application) = 0;

    // Applications, by the identifier of an Application it returned
    virtual std::optional<Application> applicationNamed(const QString &name) = 0;
    virtual std::optional<Application> applicationWithId(const QString &id) = 0;
    virtual bool isRunning(const QString &id) = 0;
    virtual bool isFrontmost(const QString &id) = 0;
    virtual Result<> launch(const QString &id) = 0;   // without stealing the focus
    virtual Result<> activate(const QString &id) = 0; // starts it when needed; returns once it is in front
    virtual Result<> quit(const QString &id) = 0;     // asks; nothing to do when it is not running
    virtual Result<> open(const QString &id, const QStringList &paths) = 0;

    // Processes with windows, topmost first
    virtual Result<std::vector<ProcessInfo>> processes() = 0;
    virtual Result<std::vector<WindowInfo>> windows(qint64 pid) = 0; // topmost first
    virtual Result<> bringToFront(qint64 pid) = 0;
    virtual Result<> setVisible(qint64 pid, bool visible) = 0;
    virtual Result<> raiseWindow(std::uint64_t handle) = 0;
    virtual Result<> closeWindow(std::uint64_t handle) = 0; // asks
    virtual Result<> setMinimized(std::uint64_t handle, bool minimized) = 0;
    virtual Result<> moveWindow(std::uint64_t handle, QPoint position) = 0;
    virtual Result<> resizeWindow(std::uint64_t handle, QSize size) = 0;

    // Input to whatever has the focus. Key codes are macOS's.
    virtual Result<> type(const QString &text, Modifiers modifiers) = 0;
    virtual Result<> pressKey(int keyCode, Modifiers modifiers) = 0;
    virtual Result<> holdKey(int keyCode, bool down) = 0;
    virtual Result<> holdModifier(Modifier modifier, bool down) = 0;
    virtual Result<> click(QPoint at, Click click, Modifiers modifiers) = 0;
};

} // namespace ombru::applescript
