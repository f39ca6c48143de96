// What the owner allows: looks at it, and asks for what is missing. Keeps what it knows as one value and hands it to
// its PermissionReports after each change. Main thread. A concern with a scope and a stop of its own: end() before it
// is destroyed.
#pragma once
#include "agent/Claude.h"
#include "base/Task.h"
#include "permissions/Allowed.h"
#include "settings/Settings.h"

#include <memory>
#include <optional>
#include <vector>

namespace ombru {

struct PermissionView {
    Allowed allowed; // by the last look; its usual applications are kept from run to run
    Claude::State claude;
    bool askedScreen = false;             // seeing the screen was requested in this run
    std::optional<QString> requestingApp; // whose prompt waits for an answer: its name
};

class PermissionReports {
public:
    virtual ~PermissionReports() = default;
    virtual void show(const PermissionView &view) = 0;             // also when nothing changed
    virtual void allowed(const AppAutomation::Target &target) = 0; // the owner said so
    virtual void warn(const QString &line) = 0;
};

class PermissionDesk {
public:
    PermissionDesk(Settings &settings, std::unique_ptr<PermissionReports> reports);

    const PermissionView &view() const { return m_view; }

    // Looks at all again, and at the claude tool when the last check is some seconds old. Ends with the look that runs
    // already, if there is one.
    Task<> refresh();

    // Ask for all that is not granted, for one blocked application, or for several by identifier. Dropped while a
    // prompt waits for its answer.
    void allowEverything();
    void allowBlocked(const AppAutomation::Target &target);
    void allowApps(const QStringList &ids);

    // Stops what runs, a look or a question, and waits until it has ended. Nothing is written any more.
    Task<> end();

private:
    Task<> look();
    Task<> lookAtAllowed(std::stop_token stop);
    Task<> lookAtClaude(std::stop_token stop);
    void keepApplications(const PermissionStates &states);
    Task<> requestEverything();
    Task<> requestBlocked(AppAutomation::Target target);
    Task<> requestApps(QStringList ids);
    Task<Permission::State> requestApp(QString id, QString name);
    void show() { m_reports->show(m_view); }

    Settings &m_settings;
    std::unique_ptr<PermissionReports> m_reports;
    PermissionView m_view;
    std::optional<Clock::Time> m_claudeCheckedAt;
    bool m_looking = false;
    std::vector<Completion> m_lookedFor; // of those who wait for the look to end
    bool m_requesting = false;           // the owner is being asked
    TaskScope m_tasks;
};

} // namespace ombru
