// `ombru run`: one task and its event log on the terminal. The application does it when it runs on this display, and
// this process otherwise.
#pragma once
#include "app/cli/CommandLine.h"
#include "app/cli/Door.h"
#include "app/cli/ScriptPrompt.h"
#include "app/cli/TaskLines.h"
#include "app/cli/TaskWatch.h"
#include "app/cli/Terminal.h"

namespace ombru {

class RunCommand {
public:
    explicit RunCommand(RunOptions options) : m_options(std::move(options)) {}

    // The exit status: 0 done, 1 failed or out of steps, 2 for words that cannot be, 3 answered without being done, 130
    // stopped by the owner.
    Task<int> run();

    // Stops the task; run() then ends by itself.
    void interrupt();

private:
    struct Here; // what it works with in this process

    Task<std::optional<int>> handOver(); // none: the application works on another display
    Task<std::optional<int>> doHere();   // none: the task has ended
    Task<int> settle();                  // what follows the task
    void take(const QJsonObject &line);
    ScriptQuestion confirmation();
    void print(const Event &event);
    void printForProgram(const QJsonObject &line);
    int refuse(const QString &why, int status); // there is no task
    Task<> offerConsent(bool asking);           // to control what a script was refused
    Task<bool> allow(AppAutomation::Target application);
    void advise(); // what the owner can do about a task that did not go well
    void showProgress(const QString &line);
    void tick();
    int statusOf(TaskResult::Outcome outcome) const; // the program's; also says what the log did not

    RunOptions m_options;
    Terminal m_terminal;
    ScriptPrompt m_prompt{m_terminal};
    std::unique_ptr<Door> m_door;
    std::shared_ptr<Here> m_here;
    bool m_elsewhere = false; // where the application works
    TaskLines m_lines;        // of a task of this process, for a program
    int m_step = 0;           // of one of the application, for the same
    QString m_complaint;      // the last of the application
    std::optional<TaskResult> m_result;
    std::stop_source m_stop; // ends what follows the task
    QString m_activity;      // what the live line says
    Clock::Time m_activitySince{};
    Timer m_tick;
};

} // namespace ombru
