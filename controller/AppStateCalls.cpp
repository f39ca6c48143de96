// The doors to the call desk, what its reports become, and what is asked in a call.

#include "controller/AppState.h"
#include "controller/CallDesk.h"
#include "controller/CallRoute.h"
#include "notifier/Notifier.h"

namespace ombru {

using namespace Qt::StringLiterals;

class AppState::CallDoor : public CallReports {
public:
    explicit CallDoor(AppState &state) : m_state(state) {}

    void emit(const QString &text, EventKind kind) override { m_state.emit(text, kind); }
    void showServer(const QString &line, bool listening) override {
        m_state.serverStatus = line;
        m_state.serverListening = listening;
    }
    void showCallers(const QStringList &callers) override { m_state.activeCalls = callers; }
    void showSharing(bool now) override { m_state.sharing = now; }
    void showTalking(bool now) override { m_state.callerTalking = now; }
    void showSpeaking(bool now) override { m_state.speaking = now; }
    void sendState() override { m_state.sendState(); }
    void announce(const QString &from) override {
        Notifier::update(u"Call from "_s + from, u"ombru is answering on this Mac"_s, true);
    }
    void ask(const PhoneRequest &request) override { m_state.phoneAsk(request); }

private:
    AppState &m_state;
};

std::unique_ptr<CallDesk> AppState::makeCallDesk() {
    return std::make_unique<CallDesk>(settings, [this] { return config(); }, std::make_unique<CallDoor>(*this));
}

void AppState::phoneAsk(const PhoneRequest &request) {
    switch (routeOf(request.text, busy)) {
    case CallRoute::stop:
        emit(u"☎ "_s + request.caller + u" said stop — cancelling"_s, EventKind::call);
        cancelTask();
        return request.done({});
    case CallRoute::idle:
        return request.done(u"Nothing's running right now."_s);
    case CallRoute::refuse:
        return request.done(u"I'm still working on the last thing. Say stop to cancel it."_s);
    case CallRoute::start:
        request.say(u"On it."_s);
        startTask(request.text, request.caller, {}, request.done);
    }
}

bool AppState::shareAudio(bool on) {
    m_calls->shareAudio(on);
    return m_calls->inCall();
}

void AppState::hangUp() {
    m_calls->hangUp();
}

std::optional<CallAccess> AppState::callAccess() const {
    return serverListening ? m_calls->access() : std::nullopt;
}

std::optional<QString> AppState::activity() const {
    if (callerTalking)
        return u"Caller talking…"_s;
    if (speaking)
        return u"Speaking…"_s;
    if (taskActivity())
        return taskActivity;
    return activeCalls->isEmpty() ? std::nullopt : std::optional(u"On a call"_s);
}

} // namespace ombru
