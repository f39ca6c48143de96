// `ombru new-session`: the next task begins another conversation, in the application and after `ombru run --continue`.
#pragma once
#include "app/cli/StateCommand.h"

namespace ombru {

class NewSessionCommand final : public StateCommand {
public:
    explicit NewSessionCommand(const CommandPlace &place) : m_place(place) {}
    Task<int> run() override;
    void interrupt() override {}

private:
    CommandPlace m_place;
};

} // namespace ombru
