// `ombru sign-in` and `ombru sign-out`: this computer's account at the service.
#pragma once
#include "app/cli/CommandLine.h"
#include "app/cli/StateCommand.h"

namespace ombru {

// Shows the code and where to approve it, and waits. Outside of the application it signs in and starts nothing.
class SignInCommand final : public StateCommand {
public:
    SignInCommand(const CommandPlace &place, SignInOptions options);

    Task<int> run() override; // 0 signed in, 1 not, 2 for an address that cannot be
    void interrupt() override;
    bool tells(const Event &event) const override;

private:
    bool mayBeJoined() const; // another one, which goes on
    int setServer();          // 0, or the status to end with
    void begin();
    void look();
    void showCode(const Auth::Pairing &pairing);
    void tick();
    Task<int> finish();

    CommandPlace m_place;
    SignInOptions m_options;
    bool m_own = false; // this one began it
    bool m_interrupted = false;
    QString m_shown; // the code that was shown last
    Clock::Time m_began{};
    Timer m_tick;
    Completion m_over;
    std::shared_ptr<const char> m_alive = std::make_shared<char>(); // whoever looks later looks whether this is there
    Subscription m_watched;
};

// Why a process below a script is refused.
QString notForScriptsText();

class SignOutCommand final : public StateCommand {
public:
    explicit SignOutCommand(const CommandPlace &place) : m_place(place) {}

    Task<int> run() override;
    void interrupt() override {} // it waits for the store of secrets alone, which the end of the program breaks off

private:
    CommandPlace m_place;
};

} // namespace ombru
