// `ombru status`: what the owner allows, and what is left to do before the agent can work.
#pragma once
#include "app/cli/CommandLine.h"
#include "app/cli/StateCommand.h"

namespace ombru {

class StatusCommand final : public StateCommand {
public:
    StatusCommand(const CommandPlace &place, const StatusOptions &options);

    Task<int> run() override; // 0, or 1 when it could not be printed
    void interrupt() override;

private:
    static Task<> look(AppState &state, Completion looked);
    QString application() const; // what it does, where it is the one that stays
    void print();
    void printJson();

    CommandPlace m_place;
    StatusOptions m_options;
    Completion m_looked;
    bool m_interrupted = false;
};

} // namespace ombru
