// The agent: takes one task at a time and drives the computer by turns of picture, question, script and result, until
// an answer, the last step, a cancel or a failure. Owns what runs for a task and the conversation, which outlives
// tasks; what happens goes to its TaskReports. Main thread. end() before it is destroyed.
//
// The pattern of a concern: it takes what it needs by its constructor, has a scope and a stop of its own, tells others
// by value, and can be ended alone.
#pragma once
#include "agent/AppleScriptRunner.h"
#include "agent/Claude.h"
#include "agent/Screen.h"
#include "agent/ToolFailure.h"
#include "base/Task.h"
#include "controller/Event.h"
#include "controller/ScriptDecision.h"
#include "controller/TaskResult.h"
#include "controller/TaskText.h"
#include "permissions/AppAutomation.h"
#include "platform/DesktopLock.h"
#include "settings/Settings.h"

#include <functional>
#include <memory>
#include <optional>
#include <variant>

namespace ombru {

struct TaskRequest {
    QString task;
    std::optional<QString> caller = {};       // who phoned it in
    std::optional<QString> label = {};        // the log's prefix for a task from elsewhere
    std::function<void(QString)> remote = {}; // takes the final answer's text; it will be spoken
    ScriptQuestion confirm = {};              // asked before each script; none: they run
};

struct TaskProgress {
    bool busy = false;
    int step = 0;            // turn of the task, from 1; 0 before the first
    bool cancelling = false; // the task was asked to stop and has not yet
};

// What is told of a task while it runs.
class TaskReports {
public:
    virtual ~TaskReports() = default;
    void emit(const QString &text, EventKind kind, const TaskFact &fact = {}) { tell(text, kind, fact); }
    virtual void showStatus(const QString &status) = 0;
    virtual void showActivity(const QString &text) = 0; // with the headline
    virtual void showProgress(const TaskProgress &progress) = 0;
    virtual void sendState() = 0; // to the web page
    virtual bool wantsPictures() const = 0;
    virtual void showPicture(int step, const QByteArray &jpeg) = 0;
    virtual void blocked(const AppAutomation::Target &target) = 0;     // a script was not run because of it, or ended
    virtual QString howToAllow(const AppAutomation::Target &target) const = 0; // for the owner of this computer
    virtual void conversationIs(const std::optional<QString> &id) = 0; // from now on
    virtual void ended(const TaskResult &result) = 0;                  // before the progress says so

protected:
    virtual void tell(const QString &text, EventKind kind, const TaskFact &fact) = 0; // an event
};

class TaskLoop {
public:
    // The prompt is asked for at each turn.
    TaskLoop(const Settings &settings, std::function<QString()> systemPrompt, std::unique_ptr<TaskReports> reports);

    bool start(TaskRequest request); // false while a task runs
    bool cancel();                   // the running task ends soon; false when there is none
    void newSession();               // the next turn begins another conversation
    void goOnWith(QString conversation);
    bool hasConversation() const { return m_sessionID.has_value(); }

    const QString &headline() const { return m_headline; } // of the task that began last

    // Cancels what runs and waits until it has ended.
    Task<> end();

private:
    struct Cancelled {};
    struct DesktopInUse {};
    using TaskError = std::variant<Cancelled, DesktopInUse, ToolFailure>;
    template <class T = void>
    using Attempt = std::expected<T, TaskError>;
    struct Turn {
        std::optional<TaskResult> finished;
        QString nextHead; // what the next turn's message begins with
    };

    Task<> run(TaskRequest request);
    void announce(const TaskRequest &request);
    Task<Attempt<>> lockTheDesktop();
    Task<Attempt<TaskResult>> work(QString head);
    Task<Attempt<Turn>> takeTurn(QString binary, QString head, Clock::Time started);
    Task<Attempt<Screen::Shot>> look();
    Task<Attempt<QString>> ask(QString binary, QString message);
    Task<Attempt<Turn>> act(SplitReply reply);
    Task<Attempt<std::optional<Turn>>> askOwner(); // none: the script may run
    void tellNotRun(const SplitReply &reply);
    void announceScript(const QString &script, const QString &prose);
    Task<Attempt<Turn>> runScript(QString script);
    Turn refuseScript(const std::vector<AppAutomation::Refusal> &refusals);
    TaskResult finalAnswer(const QString &reply, Clock::Time started);
    void removeOldPictures() const;
    Task<> noteBlocked(QStringList names);
    void block(const AppAutomation::Target &target);
    void tellHowToAllow(const QList<AppAutomation::Target> &targets);
    void noteRefusal(QString &output);
    void tellLeft(const QString &by, const QStringList &left);
    void reportScript(bool ok, const QString &output, double seconds);
    std::optional<TaskResult> outOfSteps();
    TaskResult resultOf(const Attempt<TaskResult> &attempt);
    void tellCause(const QString &cause);
    TaskResult failed(const ToolFailure &failure, TaskResult::Outcome outcome);
    void finish(const TaskResult &result, const std::function<void(QString)> &remote);
    void showProgress(const TaskProgress &progress);
    void setConversation(std::optional<QString> id);
    bool isCancelled() const { return m_stop.stop_requested() || m_tasks.token().stop_requested(); }

    const Settings &m_settings;
    std::function<QString()> m_systemPrompt;
    std::unique_ptr<TaskReports> m_reports;
    TaskProgress m_progress;
    QString m_headline;
    std::optional<DesktopLock> m_desktop;                // held by the running task
    std::shared_ptr<Claude::Call> m_claudeCall;          // its claude process
    std::shared_ptr<AppleScriptRunner::Run> m_scriptRun; // its scripts
    ScriptQuestion m_confirm;                            // its owner wants to be asked
    std::stop_source m_stop;                             // it is to end: the owner asked
    QStringList m_pictures;                              // of this task: their files
    bool m_scriptRefused = false;                        // by the system, in this task
    QList<AppAutomation::Target> m_blocked;              // in this task
    std::optional<QString> m_sessionID;                  // the conversation to continue
    int m_newSessions = 0;                               // how often the owner asked for another one
    TaskScope m_tasks;
};

} // namespace ombru
