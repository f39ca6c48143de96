// The one controller: every piece of state that somebody shows, the settings, and the handles of all that runs.
//
//   State and settings  AppState.cpp             fields, event log, activity line, work directory, state message
//   The task loop       AppStateTask.cpp         startTask, cancelTask, newSession, one turn after the other
//   The claude tool     AppStateClaude.cpp       testClaude
//   Permissions         AppStatePermissions.cpp  refreshPermissions, setup, missingPermissions
//                       AppStateAllow.cpp        allowEverything, allowBlocked, allowApps
//
// Main thread only, but for emitFromAnywhere. A field that changes calls the observers just before the change takes
// effect; they may only schedule, never read. Created once; drain() before it is destroyed.
#pragma once
#include "agent/AppleScriptRunner.h"
#include "agent/Claude.h"
#include "agent/Screen.h"
#include "base/Published.h"
#include "base/Task.h"
#include "cloud/CloudConfig.h"
#include "controller/Event.h"
#include "permissions/AppAutomation.h"
#include "permissions/Setup.h"
#include "settings/Settings.h"

#include <QJsonObject>
#include <QObject>
#include <QStringList>

#include <functional>
#include <optional>
#include <variant>

namespace ombru {

// How a task ended.
struct TaskResult {
    enum class Outcome { answered, outOfSteps, cancelled, failed };
    Outcome outcome = Outcome::answered;
    QString answer;

    bool operator==(const TaskResult &) const = default;
};

class AppState : public QObject {
public:
    // Takes the final answer's text.
    using Remote = std::function<void(QString)>;

    explicit AppState(const QString &settingsFile = Settings::defaultFile());
    ~AppState() override;

    Settings settings;

    Published<AppState, CloudConfig> config{this};
    Published<AppState, bool> busy{this, false}; // a task is running; at most one at a time
    Published<AppState, QString> status{this, QStringLiteral("idle")};
    Published<AppState, int> step{this, 0};                   // turn of the running task, from 1; 0 before the first
    Published<AppState, std::optional<QString>> caller{this}; // who phoned the running task in
    Published<AppState, QStringList> activeCalls{this};
    Published<AppState, bool> sharing{this, false};                 // the computer's audio goes into a call
    Published<AppState, std::optional<QString>> taskActivity{this}; // what is happening now
    Published<AppState, QString> lastEvent{this};                   // first line of the last event that counts
    Published<AppState, Claude::State> claude{this, Claude::Unknown{}};
    Published<AppState, PermissionStates> permStates{this};              // by permission; empty until the first refresh
    Published<AppState, PermissionStates> appAutomation{this};           // by application; kept from run to run
    Published<AppState, bool> askedScreen{this, false};                  // seeing the screen was requested in this run
    Published<AppState, QList<AppAutomation::Target>> blockedApps{this}; // a script was refused for them
    Published<AppState, std::optional<QString>> requestingApp{this};     // whose prompt waits for an answer: its name
    Published<AppState, QString> claudeTest{this};
    Published<AppState, bool> claudeTesting{this, false};
    Published<AppState, std::optional<TaskResult>> lastResult{this}; // of the last task that finished

    // --- State and settings
    void emit(const QString &text, EventKind kind);
    void emitFromAnywhere(const QString &text, EventKind kind); // any thread
    void setActivity(const std::optional<QString> &text, double linger = 0, bool prominent = false,
                     const std::optional<QString> &detail = {});
    QString systemPrompt() const;
    void sendState();
    static QString workDir(); // created when it is not there

    // Observers and receivers are added before anything runs.
    void onWillChange(std::function<void()> observer) { m_observers.push_back(std::move(observer)); }
    void onEvent(std::function<void(const Event &)> receiver) { m_receivers.push_back(std::move(receiver)); }
    // Takes every message for the web page while its channel is open; an empty function closes it.
    void setWebChannel(std::function<void(const QJsonObject &)> send) { m_web = std::move(send); }

    // --- The task loop
    void startTask(const QString &task, const std::optional<QString> &caller = {},
                   const std::optional<QString> &label = {}, const Remote &remote = {});
    void cancelTask();
    void newSession();

    // --- The claude tool
    void testClaude();

    // --- Permissions
    // Looks at all of them again, and at the claude tool when the last check is some seconds old. A refresh that runs
    // already is joined instead.
    Task<> refreshPermissions();
    Setup setup() const;             // what the owner has to do next
    bool missingPermissions() const; // whether to warn
    void allowEverything();          // asks for all that is not granted
    // Ask for one blocked application, or several by identifier. Dropped while a prompt waits for its answer.
    void allowBlocked(const AppAutomation::Target &target);
    void allowApps(const QStringList &ids);

    // Ends everything that runs and waits for it.
    Task<> drain();

private:
    template <class Owner, class T>
    friend class Published;

    struct Cancelled {};
    using TaskError = std::variant<Cancelled, Failure>;
    template <class T>
    using Attempt = std::expected<T, TaskError>;
    struct Turn {
        std::optional<TaskResult> finished;
        QString nextHead; // what the next turn's message begins with
    };

    void willChange();
    void setTaskState(bool nowBusy, int nowStep);

    Task<> runTask(QString task, std::optional<QString> from, std::optional<QString> label, Remote remote);
    Task<Attempt<TaskResult>> work(QString head);
    Task<Attempt<Turn>> takeTurn(QString binary, QString head, Clock::Time started);
    Task<Attempt<Screen::Shot>> look();
    Task<Attempt<QString>> ask(QString binary, QString message);
    Task<Attempt<Turn>> act(QString script, QString prose);
    void announceScript(const QString &script, const QString &prose);
    Task<Attempt<Turn>> runScript(QString script);
    Turn refuseScript(const std::vector<AppAutomation::Refusal> &refusals);
    TaskResult finalAnswer(const QString &reply, Clock::Time started);
    void reportScript(bool ok, const QString &output, double seconds);
    std::optional<TaskResult> outOfSteps();
    TaskResult resultOf(const Attempt<TaskResult> &attempt);
    void finishTask(const TaskResult &result, const Remote &remote);
    bool isCancelled() const;
    Task<> runClaudeTest();

    Task<> refreshStates(std::stop_token stop);
    Task<> refreshAutomation(std::stop_token stop);
    Task<> refreshClaude(std::stop_token stop);
    void setAppAutomation(const PermissionStates &states);
    Task<> requestEverything();
    Task<> requestBlocked(AppAutomation::Target target);
    Task<> requestApps(QStringList ids);
    Task<Permission::State> requestApp(QString id, QString name);

    std::shared_ptr<Claude::Call> m_claudeCall;          // the running claude process
    std::shared_ptr<AppleScriptRunner::Run> m_scriptRun; // the scripts of the running task
    std::optional<QString> m_sessionID;                  // the conversation to continue; outlives tasks
    bool m_cancelled = false;                            // the owner asked to stop the running task
    std::stop_source m_taskStop;                         // ends the running task's pauses
    QString m_task;                                      // headline of the running task
    Timer m_activityClear;
    std::optional<Clock::Time> m_claudeCheckedAt;
    bool m_refreshing = false;
    std::vector<Completion> m_refreshJoined; // of those who wait for the running refresh
    bool m_requesting = false;               // one or several applications are being asked for
    std::vector<std::function<void()>> m_observers;
    std::vector<std::function<void(const Event &)>> m_receivers;
    std::function<void(const QJsonObject &)> m_web;
    TaskScope m_tasks;
};

} // namespace ombru
