// `ombru run`: one task in this process, its event log on the terminal.
#pragma once
#include "app/cli/CommandLine.h"
#include "app/cli/Terminal.h"
#include "controller/AppState.h"

namespace ombru {

class RunCommand {
public:
    explicit RunCommand(RunOptions options);

    // The exit status: 0 answered, 1 failed or out of steps, 2 for words that cannot be, 130 stopped by the owner.
    Task<int> run();

    // Stops the task; run() then ends by itself.
    void interrupt();

private:
    void print(const Event &event);
    Task<> offerConsent(bool asking); // to control what a script was refused
    Task<bool> allow(AppAutomation::Target application);
    void advise(); // what the owner can do about a task that did not go well
    void showProgress();
    void noteChange();
    Result<> applyOptions();
    int statusOf(TaskResult::Outcome outcome) const; // the program's; also says what the log did not

    RunOptions m_options;
    Terminal m_terminal;
    AppState m_state;
    Completion m_finished;
    std::stop_source m_stop; // ends what follows the task
    bool m_changeNoted = false;
    QString m_activity; // what the live line says
    Clock::Time m_activitySince{};
    Timer m_tick;
    Subscription m_heard;
    Subscription m_watched;
};

} // namespace ombru
