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
            .buttons = {{u"Open browser"_s, {What::openBrowser}, Weight::main},
                        {.text = u"Cancel"_s,
                         .action = {What::cancelSignIn},
                         .name = QCoreApplication::translate("Panel", "Cancel signing in")}},
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
            .buttons = {{.text = u"Allow"_s,
                         .action = {What::allowApplication, target},
                         .isEnabled = !state.requestingApp, // one question at a time
                         .name = QCoreApplication::translate("Panel", "Allow %1").arg(target.name)}}};
}

std::vector<PanelButton> setupButtons(Setup setup) {
    const auto button = [](const QString &text, What what, const QString &name) {
        return std::vector{PanelButton{.text = text, .action = {what}, .name = name}};
    };
    switch (setup) {
    case Setup::installClaude:
        return button(u"Install"_s, What::installClaude, QCoreApplication::translate("Panel", "Install Claude Code"));
    case Setup::signInClaude:
        return button(u"Sign in"_s, What::signInClaude, QCoreApplication::translate("Panel", "Sign in to Claude Code"));
    case Setup::allow:
        return button(u"Allow"_s, What::allowEverything, QCoreApplication::translate("Panel", "Allow permissions"));
    case Setup::restart:
        return button(u"Restart"_s, What::restart, QCoreApplication::translate("Panel", "Restart ombru"));
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

// A browser that does not open is not noticed where a helper of the desktop's looks for one.
std::vector<PanelLine> adviceLines(const PanelState &state) {
    std::vector<PanelLine> lines;
    if (const auto *pairing = std::get_if<Auth::Pairing>(&state.auth.state))
        lines.push_back({QCoreApplication::translate("Panel", "If no browser opens, the page is %1")
                             .arg(pairing->verifyURL.toString(QUrl::FullyEncoded))});
    if (state.auth.is<Auth::SignedOut>() && !state.signInFailure.isEmpty())
        lines.push_back({state.signInFailure, Severity::broken});
    if (state.auth.is<Auth::SignedOut>() && !state.failedService.isEmpty())
        lines.push_back(
            {QCoreApplication::translate("Panel", "The service is expected at %1. If yours is elsewhere, type "
                                                  "in a terminal: ombru sign-in --server ADDRESS")
                 .arg(state.failedService)});
    if (!state.failure.isEmpty())
        lines.push_back({state.failure, Severity::broken});
    return lines;
}

std::vector<PanelButton> bottomButtons(const PanelState &state) {
    std::vector<PanelButton> buttons;
    if (state.auth.is<Auth::SignedIn>())
        buttons.push_back({u"Sign out"_s, {What::signOut}});
    buttons.push_back(
        {.text = u"Quit"_s, .action = {What::quit}, .name = QCoreApplication::translate("Panel", "Quit ombru")});
    return buttons;
}

PanelContent panelContent(const PanelState &state) {
    PanelContent content{{statusLine(state), setupLine(state)}, bottomButtons(state)};
    const auto applications = automationLines(state);
    const auto advice = adviceLines(state);
    content.lines.insert(content.lines.end(), applications.begin(), applications.end());
    content.lines.insert(content.lines.end(), advice.begin(), advice.end());
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
        return PanelButton{.text = stopText(),
                           .action = {What::stop},
                           .weight = Weight::halt,
                           .name = QCoreApplication::translate("Panel", "Stop the task")};
    if (!state.activeCalls.isEmpty())
        return PanelButton{QCoreApplication::translate("Panel", "Hang up"), {What::hangUp}, Weight::halt};
    return {};
}

} // namespace ombru
