#include "app/panel/PanelLines.h"

#include "base/SystemEvents.h"
#include "base/Text.h"

#include <QCoreApplication>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;
using What = PanelAction::What;
using Weight = PanelButton::Weight;

namespace {

PanelLine pairingLine(const Auth::Pairing &pairing) {
    return {.text = u"Finish signing in in your browser"_s,
            .severity = Severity::secondary,
            .buttons = {{u"Open browser"_s, {What::openBrowser}, Weight::main}, {u"Cancel"_s, {What::cancelSignIn}}},
            .code = pairing.userCode};
}

std::vector<PanelButton> buttonsToStop(const PanelState &state) {
    const auto stop = stopButton(state);
    return stop ? std::vector{*stop} : std::vector<PanelButton>();
}

PanelLine taskLine(const PanelState &state) {
    const auto step = state.step >= 1 ? u" · step %1"_s.arg(state.step) : QString();
    return {u"Working on a task"_s + step, Severity::waiting};
}

PanelLine callsLine(const PanelState &state) {
    if (!state.trusted)
        return {u"Signed in · calls don't reach this Mac yet"_s, Severity::secondary};
    if (state.serverListening && (state.agentConnected || state.cloudReachable))
        return {u"Ready for calls"_s, Severity::ready};
    if (!state.serverListening && state.serverStatus.startsWith(u'✗'))
        return {u"Can't take calls — port %1 is in use"_s.arg(state.callPort), Severity::broken};
    return {u"Connecting to ombru…"_s, Severity::waiting};
}

PanelLine accountLine(const PanelState &state) {
    if (const auto *pairing = std::get_if<Auth::Pairing>(&state.auth.state))
        return pairingLine(*pairing);
    if (state.auth.is<Auth::SignedOut>())
        return {.text = u"Not signed in"_s, .buttons = {{u"Sign in with Google"_s, {What::signIn}, Weight::main}}};
    if (state.auth.is<Auth::Loading>())
        return {u"Starting…"_s, Severity::secondary};
    if (!state.activeCalls.isEmpty())
        return {u"On a call with "_s + state.activeCalls.join(u", "_s), Severity::waiting};
    return state.busy ? taskLine(state) : callsLine(state);
}

PanelLine applicationLine(const PanelState &state, const AppAutomation::Target &target) {
    if (state.requestingApp == target.name)
        return {u"Answer the prompt for "_s + target.name, Severity::waiting};
    return {.text = target.name + u" isn't allowed yet"_s,
            .severity = Severity::waiting,
            .buttons = {{u"Allow"_s,
                         {What::allowApplication, target},
                         PanelButton::Weight::plain,
                         !state.requestingApp}}}; // one question at a time
}

std::vector<PanelButton> setupButtons(Setup setup) {
    switch (setup) {
    case Setup::installClaude:
        return {{u"Install"_s, {What::installClaude}}};
    case Setup::signInClaude:
        return {{u"Sign in"_s, {What::signInClaude}}};
    case Setup::allow:
        return {{u"Allow"_s, {What::allowEverything}}};
    case Setup::restart:
        return {{u"Restart"_s, {What::restart}}};
    case Setup::denied:
        return {{u"Open Settings"_s, {What::openAutomationSettings}}};
    case Setup::checking:
    case Setup::done:
        return {};
    }
    Q_UNREACHABLE();
}

Severity setupSeverity(Setup setup) {
    if (setup == Setup::checking)
        return Severity::secondary;
    if (setup == Setup::done)
        return Severity::ready;
    return setup == Setup::denied ? Severity::broken : Severity::waiting;
}

} // namespace

// A task or a call may run whatever the sign-in is, and can be ended in any case.
PanelLine statusLine(const PanelState &state) {
    auto line = accountLine(state);
    const auto stop = buttonsToStop(state);
    line.buttons.insert(line.buttons.end(), stop.begin(), stop.end());
    return line;
}

PanelLine setupLine(const PanelState &state) {
    const bool isAsking = state.setup == Setup::allow && state.requestingApp;
    return {.text = setupText(state.setup, isAsking),
            .severity = setupSeverity(state.setup),
            .buttons = isAsking ? std::vector<PanelButton>() : setupButtons(state.setup)};
}

// System Events is what every script with a key or a click needs: whoever was never asked about it is offered that.
std::vector<PanelLine> automationLines(const PanelState &state) {
    auto targets = state.blockedApps;
    const AppAutomation::Target systemEvents{SYSTEM_EVENTS_ID.toString(), SYSTEM_EVENTS_NAME.toString()};
    const bool isListed =
        std::ranges::any_of(targets, [&](const auto &target) { return target.id == systemEvents.id; });
    if (state.undecidedSystemEvents && !isListed)
        targets.append(systemEvents);
    std::vector<PanelLine> lines;
    for (const auto &target : std::as_const(targets))
        lines.push_back(applicationLine(state, target));
    return lines;
}

std::vector<PanelButton> bottomButtons(const PanelState &state) {
    std::vector<PanelButton> buttons;
    if (state.auth.is<Auth::SignedIn>())
        buttons.push_back({u"Sign out"_s, {What::signOut}});
    buttons.push_back({u"Quit"_s, {What::quit}});
    return buttons;
}

PanelContent panelContent(const PanelState &state) {
    PanelContent content{{statusLine(state), setupLine(state)}, bottomButtons(state)};
    const auto applications = automationLines(state);
    content.lines.insert(content.lines.end(), applications.begin(), applications.end());
    if (!state.failure.isEmpty())
        content.lines.push_back({state.failure, Severity::broken});
    return content;
}

// These texts are ours, and translated; the others are fixed.
QString stopText() {
    return QCoreApplication::translate("Panel", "Stop");
}

std::optional<PanelButton> stopButton(const PanelState &state) {
    if (state.busy && state.cancelling)
        return PanelButton{QCoreApplication::translate("Panel", "Stopping…"), {What::stop}, Weight::halt, false};
    if (state.busy)
        return PanelButton{stopText(), {What::stop}, Weight::halt};
    if (!state.activeCalls.isEmpty())
        return PanelButton{QCoreApplication::translate("Panel", "Hang up"), {What::hangUp}, Weight::halt};
    return {};
}

} // namespace ombru
