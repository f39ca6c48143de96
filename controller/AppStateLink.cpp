// The doors to the service link, what its reports become, and what the web page asks for.

#include "controller/AppState.h"
#include "controller/CallDesk.h"
#include "controller/ServiceLink.h"

namespace ombru {

using namespace Qt::StringLiterals;

class AppState::LinkDoor : public LinkReports {
public:
    explicit LinkDoor(AppState &state) : m_state(state) {}

    void emit(const QString &text, EventKind kind) override { m_state.emit(text, kind); }
    void showAuth(const Auth &now) override { m_state.auth = now; }
    void showSignIn(const SignInView &view) override { m_state.signingIn = view; }
    void showReachable(bool reachable) override { m_state.cloudReachable = reachable; }
    void applyConfig(const CloudConfig &received) override { m_state.applyConfig(received); }
    void startServer() override { m_state.m_calls->startServer(); }
    void stopServer() override { m_state.m_calls->stopServer(); }
    void channelExists(WebChannel::Send send) override { m_state.setWebChannel(std::move(send)); }
    void channelOpened(bool open) override {
        m_state.setWebChannelOpen(open);
        m_state.sendState();
    }
    void handle(const AgentCommand &command) override { m_state.handleAgent(command); }
    Task<> refreshPermissions() override { return m_state.refreshPermissions(); }

private:
    AppState &m_state;
};

std::unique_ptr<ServiceLink> AppState::makeServiceLink() {
    return std::make_unique<ServiceLink>(settings, std::make_unique<LinkDoor>(*this));
}

Task<> AppState::boot() {
    co_await refreshPermissions();
    if (!co_await m_link->restoreSignIn())
        co_return;
    co_await m_link->loadConfig();
    m_link->startHeartbeat();
}

void AppState::signIn() {
    m_link->signIn();
}

void AppState::openSignInPage() {
    m_link->openSignInPage();
}

void AppState::cancelSignIn() {
    m_link->cancelSignIn();
}

void AppState::giveUpSignIn() {
    m_link->giveUpSignIn();
}

void AppState::signOut() {
    m_link->signOut();
}

void AppState::keepToRequests() {
    m_link->keepToRequests();
}

Task<> AppState::secretsKept() {
    return m_link->secretsKept();
}

void AppState::handleAgent(const AgentCommand &command) {
    if (const auto *task = std::get_if<TaskCommand>(&command); task && !task->text.isEmpty()) {
        if (busy)
            emit(u"Still working on the last task — press Stop to cancel it."_s, EventKind::warn);
        else
            startTask(task->text, {}, u"web ❯ "_s);
    } else if (std::holds_alternative<CancelCommand>(command) && busy) {
        emit(u"Stop pressed on the website — cancelling"_s, EventKind::warn);
        cancelTask();
    } else if (const auto *listen = std::get_if<ListenCommand>(&command)) {
        m_link->listen(listen->on);
    }
}

} // namespace ombru
