// The doors to the permission desk, what its reports become, and what follows from them.

#include "controller/AppState.h"
#include "controller/PermissionDesk.h"

namespace ombru {

class AppState::PermissionDoor : public PermissionReports {
public:
    explicit PermissionDoor(AppState &state) : m_state(state) {}

    void show(const PermissionView &view) override { m_state.show(view); }
    void allowed(const AppAutomation::Target &target) override {
        m_state.blockedApps.edit([&](auto &targets) { targets.removeAll(target); });
    }
    void warn(const QString &line) override { m_state.emit(line, EventKind::warn); }

private:
    AppState &m_state;
};

std::unique_ptr<PermissionDesk> AppState::makePermissionDesk() {
    return std::make_unique<PermissionDesk>(settings, std::make_unique<PermissionDoor>(*this));
}

void AppState::show(const PermissionView &view) {
    permStates = view.allowed.permissions;
    appAutomation = view.allowed.applications;
    claude = view.claude;
    askedScreen = view.askedScreen;
    requestingApp = view.requestingApp;
}

Setup AppState::setup() const {
    return ombru::setup(claude, permStates, askedScreen);
}

const Allowed &AppState::allowed() const {
    return m_desk->view().allowed;
}

bool AppState::missingPermissions() const {
    return ombru::missingPermissions(claude, permStates);
}

Task<> AppState::refreshPermissions() {
    return m_desk->refresh();
}

void AppState::allowEverything() {
    m_desk->allowEverything();
}

void AppState::allowBlocked(const AppAutomation::Target &target) {
    m_desk->allowBlocked(target);
}

void AppState::allowApps(const QStringList &ids) {
    m_desk->allowApps(ids);
}

} // namespace ombru
