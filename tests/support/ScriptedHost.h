// A Host for tests: answers as it was told in a few lines, and writes down everything that was done through it.
//
//   application ID NAME        is installed        running ID            and runs
//   process PID ID NAME        has windows; the first one is in front
//   window PID HANDLE X Y W H NAME
//   shell STATUS COMMAND       what a command ends with, and below it
//   out TEXT / err TEXT        what it writes (\n for a line end)
//   clipboard TEXT   now ISO-DATE   random NUMBER   answer BUTTON-INDEX TEXT   gives up
//   fail CALL NUMBER MESSAGE   the call with this name fails
//   opener ID                  opens every document
//   refuse ID                  the owner lets no event be sent there
//   slow CALL SECONDS          the call with this name takes that long; then no other time passes
#pragma once
#include "applescript/host/Host.h"

#include <QHash>

namespace ombru::applescript {

class ScriptedHost final : public Host,
                           public System,
                           public Dialogs,
                           public Applications,
                           public Windows,
                           public Input,
                           public Clipboard,
                           public Notifications {
public:
    explicit ScriptedHost(const QString &script = {});

    QStringList calls;                              // what was done, in order
    QString logged;                                 // what would be on standard error
    QStringList authorizations;                     // the applications that an event was to be sent to
    std::vector<std::optional<Clock::Time>> limits; // until when it was to wait, each as it was set

    void limitWaits(std::optional<Clock::Time> end) override { limits.push_back(end); }
    System &system() override { return *this; }
    Dialogs &dialogs() override { return *this; }
    Applications &applications() override { return *this; }
    Result<const Windows *> windows() override { return this; }
    Result<Held<Windows>> windowsToChange() override { return Held<Windows>(*this); }
    Result<Held<Input>> input() override { return Held<Input>(*this); }
    Result<Clipboard *> clipboard() override { return this; }
    Result<Notifications *> notifications() override { return this; }

    Result<ShellOutcome> shell(const QString &command) override;
    void delay(double seconds) override;
    QDateTime now() override { return m_now; }
    double random() override { return m_random; }
    Result<> show(const NotificationRequest &request) override;
    Result<DialogAnswer> ask(const DialogRequest &request) override;
    Result<QString> text() override { return m_clipboard; }
    Result<> setText(const QString &text) override;
    Result<Application> openerOf(const QString &path) override;
    Result<> openLocation(const QString &url) override;
    QString path(Folder folder) override;
    void log(const QString &line) override { logged += line + QChar(u'\n'); }
    Result<> authorize(const Application &application) override;
    std::optional<Application> applicationNamed(const QString &name) override;
    std::optional<Application> applicationWithId(const QString &id) override;
    bool isRunning(const QString &id) override { return m_running.contains(id); }
    bool isFrontmost(const QString &id) override { return !m_processes.empty() && m_processes.front().id == id; }
    Result<> launch(const QString &id) override { return done(QStringLiteral("launch"), id); }
    Result<> activate(const QString &id) override { return done(QStringLiteral("activate"), id); }
    Result<> quit(const QString &id) override { return done(QStringLiteral("quit"), id); }
    Result<> open(const QString &id, const QStringList &paths) override;
    Result<std::vector<ProcessInfo>> processes() const override { return m_processes; }
    Result<std::vector<WindowInfo>> windows(qint64 pid) const override { return m_windows.value(pid); }
    Result<> bringToFront(qint64 pid) override;
    Result<> bringWindowToFront(std::uint64_t handle) override;
    Result<> setVisible(qint64 pid, bool visible) override;
    Result<> raiseWindow(std::uint64_t handle) override;
    Result<> closeWindow(std::uint64_t handle) override;
    Result<> setMinimized(std::uint64_t handle, bool minimized) override;
    Result<> moveWindow(std::uint64_t handle, QPoint position) override;
    Result<> resizeWindow(std::uint64_t handle, QSize size) override;
    Result<> type(const QString &text, Modifiers modifiers) override;
    Result<> pressKey(int keyCode, Modifiers modifiers) override;
    Result<> holdKey(int keyCode, bool down) override;
    Result<> holdModifier(Modifier modifier, bool down) override;
    Result<> click(QPoint at, Click click, Modifiers modifiers) override;

private:
    Result<> done(const QString &call, const QString &about);
    void passTime(const QString &call);
    void read(const QString &word, const QStringList &rest, const QString &line);

    QHash<QString, ShellOutcome> m_shell;
    QString m_lastCommand;
    QDateTime m_now = QDateTime(QDate(2026, 11, 20), QTime(23, 29, 52));
    double m_random = 0.5;
    QString m_clipboard;
    DialogAnswer m_answer{0, {}, false};
    std::vector<Application> m_applications;
    QStringList m_running;
    QStringList m_refused;
    QString m_opener;
    std::vector<ProcessInfo> m_processes;
    QHash<qint64, std::vector<WindowInfo>> m_windows;
    QHash<QString, Failure> m_failures;
    QHash<QString, double> m_slow; // seconds
    std::optional<ManualClock> m_clock;
};

} // namespace ombru::applescript
