#include "app/panel/PanelSource.h"

#include "base/SystemEvents.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// Of the last sign-in, when it came to nothing. Without the mark that a line of the log begins with: this one has a
// dot.
QString signInFailure(const SignInView &view) {
    const bool hasFailed = view.outcome.kind == EventKind::bad || view.outcome.kind == EventKind::warn;
    if (view.running || view.accepted || !hasFailed)
        return {};
    const auto text = view.outcome.text.startsWith(u"✗ ") ? view.outcome.text.mid(2) : view.outcome.text;
    return text.left(1).toUpper() + text.mid(1);
}

} // namespace

PanelState panelState(const AppState &state, const QString &failure) {
    const SignInView &signIn = state.signingIn;
    const bool serviceFailed = signIn.outcome.kind == EventKind::bad && !signIn.running;
    const auto systemEvents = state.appAutomation->constFind(SYSTEM_EVENTS_ID.toString());
    return {.auth = state.auth,
            .trusted = state.config->trusted,
            .activeCalls = state.activeCalls,
            .busy = state.busy,
            .cancelling = state.cancelling,
            .step = state.step,
            .serverListening = state.serverListening,
            .serverStatus = state.serverStatus,
            .callPort = state.settings.callPort(),
            .agentConnected = state.agentConnected,
            .cloudReachable = state.cloudReachable,
            .setup = state.setup(),
            .undecidedSystemEvents =
                systemEvents != state.appAutomation->constEnd() && *systemEvents == Permission::State::unknown,
            .blockedApps = state.blockedApps,
            .requestingApp = state.requestingApp,
            .failure = failure,
            .signInFailure = signInFailure(signIn),
            .failedService = serviceFailed ? state.settings.serverURL() : QString()};
}

} // namespace ombru
