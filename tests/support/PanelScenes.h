// The panel's states worth a look, one for each of its rows.
#pragma once
#include "app/panel/PanelLines.h"

namespace ombru::test {

using namespace Qt::StringLiterals;

struct PanelScene {
    QString name;
    PanelState state;
};

inline PanelState readyPanel() {
    return {.auth = {Auth::SignedIn{u"owner@house.example"_s}},
            .trusted = true,
            .serverListening = true,
            .agentConnected = true,
            .setup = Setup::done};
}

template <class Change>
PanelScene panelScene(const QString &name, Change change) {
    auto state = readyPanel();
    change(state);
    return {name, state};
}

inline std::vector<PanelScene> panelScenes() {
    const AppAutomation::Target editor{u"com.apple.TextEdit"_s, u"TextEdit"_s};
    const AppAutomation::Target events{u"com.apple.systemevents"_s, u"System Events"_s};
    const AppAutomation::Target longOne{u"org.example.long"_s, u"Arbeitsunfähigkeitsbescheinigungsverwaltung 2026"_s};
    return {panelScene(u"signed-out"_s,
                       [](PanelState &s) {
                           s.auth = {Auth::SignedOut{}};
                           s.setup = Setup::checking;
                       }),
            panelScene(u"starting"_s,
                       [](PanelState &s) {
                           s.auth = {Auth::Loading{}};
                           s.setup = Setup::checking;
                       }),
            panelScene(u"pairing"_s,
                       [](PanelState &s) {
                           s.auth = {Auth::Pairing{u"KTHR-4821"_s, QUrl(u"https://house.example/verify"_s)}};
                           s.setup = Setup::allow;
                           s.undecidedSystemEvents = true;
                       }),
            panelScene(u"ready"_s, [](PanelState &) {}),
            panelScene(u"working"_s,
                       [](PanelState &s) {
                           s.busy = true;
                           s.step = 3;
                       }),
            panelScene(u"stopping"_s,
                       [](PanelState &s) {
                           s.busy = s.cancelling = true;
                           s.step = 3;
                       }),
            panelScene(u"call"_s,
                       [&](PanelState &s) {
                           s.activeCalls = {u"+1 555 0142"_s};
                           s.blockedApps = {editor, events};
                           s.requestingApp = events.name;
                       }),
            panelScene(u"port-in-use"_s,
                       [](PanelState &s) {
                           s.serverListening = false;
                           s.serverStatus = u"✗"_s;
                           s.callPort = 8765;
                           s.setup = Setup::denied;
                       }),
            panelScene(u"no-calls"_s,
                       [](PanelState &s) {
                           s.trusted = false;
                           s.setup = Setup::installClaude;
                       }),
            panelScene(u"connecting"_s,
                       [](PanelState &s) {
                           s.agentConnected = false;
                           s.setup = Setup::restart;
                       }),
            panelScene(u"sign-in-claude"_s, [](PanelState &s) { s.setup = Setup::signInClaude; }),
            panelScene(u"prompting"_s,
                       [&](PanelState &s) {
                           s.setup = Setup::allow;
                           s.requestingApp = events.name;
                           s.blockedApps = {editor, events};
                       }),
            panelScene(u"sign-in-failed"_s,
                       [](PanelState &s) {
                           s.auth = {Auth::SignedOut{}};
                           s.signInFailure = u"Sign-in failed: Failed to connect to localhost port 8787 after 0 ms: "
                                             u"Couldn't connect to server"_s;
                           s.failedService = u"http://localhost:8787"_s;
                       }),
            panelScene(u"long-names"_s, [&](PanelState &s) {
                s.activeCalls = {u"+49 30 5550142"_s, u"the front desk of the house on the hill"_s, u"+1 555 0143"_s};
                s.blockedApps = {longOne};
                s.failure = u"No terminal is installed. Type this in a terminal: claude auth login"_s;
            })};
}

} // namespace ombru::test
