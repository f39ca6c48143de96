// The one controller: every piece of state that somebody shows, the settings, and the concerns that do the work.
//
//   State and settings  AppState.cpp             fields, event log, activity line, state message, web channel
//   The task loop       TaskLoop.*               one turn after the other; doors here in AppStateTask.cpp
//   The claude tool     AppStateClaude.cpp       testClaude
//   The service         ServiceLink.*            sign-in, configuration, channel; doors here in AppStateLink.cpp
//   Calls               CallDesk.*               the call server and its calls; doors here in AppStateCalls.cpp
//   Permissions         PermissionDesk.*         looking and asking; doors here in AppStatePermissions.cpp
//
// A concern is a class that this owns. It knows nothing of AppState: it tells by value through an interface of its own,
// which AppState implements, and it can be ended alone. Only AppState writes the fields.
//
// Main thread only, but for emitFromAnywhere. A field that changes calls the observers just before the change takes
// effect; they may only schedule, never read. Created once; drain() before it is destroyed.
#pragma once
#include "agent/Claude.h"
#include "base/Published.h"
#include "base/Subscribers.h"
#include "base/Task.h"
#include "cloud/Auth.h"
#include "cloud/CloudConfig.h"
#include "controller/CallAccess.h"
#include "controller/Event.h"
#include "controller/ScriptDecision.h"
#include "controller/SignInView.h"
#include "controller/TaskResult.h"
#include "controller/WebChannel.h"
#include "permissions/AppAutomation.h"
#include "permissions/Setup.h"
#include "settings/Settings.h"
#include "wire/AgentCommands.h"

#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace ombru {

class CallDesk;
class PermissionDesk;
class ServiceLink;
class TaskLoop;
struct Allowed;
struct PermissionView;
struct PhoneRequest;
struct TaskProgress;

class AppState : public QObject {
public:
    // Takes the final answer's text.
    using Remote = std::function<void(QString)>;

    explicit AppState(const QString &settingsFile = Settings::defaultFile());
    ~AppState() override;

    Settings settings;
    bool hasPanel = false; // in which the owner can allow things; for whoever shows one to say

    Published<AppState, Auth> auth{this};
    Published<AppState, SignInView> signingIn{this};
    Published<AppState, CloudConfig> config{this};
    Published<AppState, bool> cloudReachable{this, false}; // the service answered the last request
    Published<AppState, bool> busy{this, false};           // a task is running; at most one at a time
    Published<AppState, QString> status{this, QStringLiteral("idle")};
    Published<AppState, bool> cancelling{this, false};        // the running task was asked to stop and has not yet
    Published<AppState, int> step{this, 0};                   // turn of the running task, from 1; 0 before the first
    Published<AppState, std::optional<QString>> caller{this}; // who phoned the running task in
    Published<AppState, QString> serverStatus{this};          // what the local call server says of itself
    Published<AppState, bool> serverListening{this, false};   // it takes calls
    Published<AppState, QStringList> activeCalls{this};       // callers of the open calls
    Published<AppState, bool> sharing{this, false};           // the computer's audio goes into a call
    Published<AppState, bool> callerTalking{this, false};     // heard within the last moment
    Published<AppState, bool> speaking{this, false};          // an answer is being spoken into a call
    Published<AppState, bool> agentConnected{this, false};    // the web channel is open
    Published<AppState, std::optional<QString>> taskActivity{this}; // what is happening now
    Published<AppState, QString> lastEvent{this};                   // first line of the last event that counts
    Published<AppState, Claude::State> claude{this, Claude::Unknown{}};
    Published<AppState, PermissionStates> permStates{this};              // by permission; empty until the first refresh
    Published<AppState, PermissionStates> appAutomation{this};           // by application; kept from run to run
    Published<AppState, bool> askedScreen{this, false};                  // seeing the screen was requested in this run
    Published<AppState, QList<AppAutomation::Target>> blockedApps{this}; // a script was refused for them
    Published<AppState, std::optional<QString>> requestingApp{this};     // whose prompt waits for an answer: its name
    Published<AppState, QString> claudeTest{this};
    Published<AppState, QString> claudeTestCause{this}; // why it failed, for the owner, where the line does not say
    Published<AppState, bool> claudeTestPassed{this, false}; // what that line says
    Published<AppState, bool> claudeTesting{this, false};
    Published<AppState, std::optional<TaskResult>> lastResult{this}; // of the last task that finished

    // --- State and settings
    void emit(const QString &text, EventKind kind, const TaskFact &fact = {});
    void emitFromAnywhere(const QString &text, EventKind kind); // any thread
    Result<> openLogs(); // shows the log in a terminal; a Failure says what to type instead
    void setActivity(const std::optional<QString> &text, double linger = 0, bool prominent = false,
                     const std::optional<QString> &detail = {});
    QString systemPrompt() const;
    QString icon() const; // the name of the symbol in the menu bar
    void sendState();
    static QString workDir(); // created when it is not there

    // Until the handle is dropped. They may come and go at any time, also while they are called.
    Subscription onWillChange(Subscribers<>::Receiver observer) { return m_observers.add(std::move(observer)); }
    Subscription onEvent(Subscribers<Event>::Receiver receiver) { return m_receivers.add(std::move(receiver)); }

    Subscription onTaskEnded(Subscribers<TaskResult>::Receiver receiver) { return m_ends.add(std::move(receiver)); }

    // --- The service
    // At the start of an application that stays: what is allowed, and the sign-in that is kept.
    Task<> boot();
    void signIn();         // shows a code and asks the service until its owner has approved it
    void openSignInPage(); // again, while a code is outstanding
    void cancelSignIn();
    void giveUpSignIn(); // cancels it; when its code has not come yet, none comes, and no page opens
    void signOut();
    void keepToRequests();                         // of a program that does not stay: neither heartbeat nor channel
    Task<> secretsKept();                          // once the store of secrets has the token, or has lost it
    void applyConfig(const CloudConfig &received); // what it said last
    // A channel to the web page exists from now on and takes every event; an empty function takes it away.
    void setWebChannel(WebChannel::Send send);
    // It is open: it takes the state and the pictures, too. One that is new or taken away is not.
    void setWebChannelOpen(bool open);

    // --- The task loop
    // False, and nothing is done, while a task runs.
    bool startTask(const QString &task, const std::optional<QString> &caller = {},
                   const std::optional<QString> &label = {}, const Remote &remote = {},
                   const ScriptQuestion &confirm = {});
    bool cancelTask(); // whether a task ran; it ends soon
    void newSession();
    bool goOnWithLastConversation(); // this owner's, also that of an earlier process; false when there is none

    // --- Calls
    bool shareAudio(bool on);                     // in every call; false when none is open
    void hangUp();                                // every call; a task that was asked for in one goes on
    std::optional<CallAccess> callAccess() const; // none while no calls are taken
    std::optional<QString> activity() const;      // one line on what is happening now, calls included

    // --- The claude tool
    void testClaude();

    // --- Permissions
    // Looks at all of them again, and at the claude tool when the last check is some seconds old. A refresh that runs
    // already is joined instead.
    Task<> refreshPermissions();
    Setup setup() const;             // what the owner has to do next
    bool missingPermissions() const; // whether to warn
    const Allowed &allowed() const;  // all that the last look found, for who shows it
    void allowEverything();          // asks for all that is not granted
    // Ask for one blocked application, or several by identifier. Dropped while a prompt waits for its answer.
    void allowBlocked(const AppAutomation::Target &target);
    void allowApps(const QStringList &ids);

    // Ends everything that runs, every concern, and waits for it.
    Task<> drain();

private:
    template <class Owner, class T>
    friend class Published;

    class TaskDoor;
    class PermissionDoor;
    class LinkDoor;
    class CallDoor;

    std::unique_ptr<TaskLoop> makeTaskLoop();
    std::unique_ptr<PermissionDesk> makePermissionDesk();
    std::unique_ptr<ServiceLink> makeServiceLink();
    std::unique_ptr<CallDesk> makeCallDesk();
    void handleAgent(const AgentCommand &command);
    void phoneAsk(const PhoneRequest &request);
    void willChange() { m_observers.tell(); }
    void setTaskState(const TaskProgress &progress);
    void noteResult(const TaskResult &result);
    void show(const PermissionView &view);
    Task<> runClaudeTest();

    Timer m_activityClear;
    Subscribers<> m_observers;
    Subscribers<Event> m_receivers;
    Subscribers<TaskResult> m_ends;
    WebChannel m_web;
    std::unique_ptr<TaskLoop> m_loop;
    std::unique_ptr<PermissionDesk> m_desk;
    std::unique_ptr<ServiceLink> m_link;
    std::unique_ptr<CallDesk> m_calls;
    TaskScope m_tasks; // of what is no concern of its own
};

} // namespace ombru
