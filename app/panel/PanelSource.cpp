#include "app/panel/PanelSource.h"

#include "base/SystemEvents.h"

namespace ombru {

PanelState panelState(const AppState &state, const QString &failure) {
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
            .failure = failure};
}

} // namespace ombru
