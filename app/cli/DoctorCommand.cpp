#include "app/cli/DoctorCommand.h"

#include "app/cli/CommandLine.h"
#include "app/cli/CommandLoop.h"
#include "app/cli/Findings.h"
#include "base/Background.h"
#include "cloud/PlainHttp.h"
#include "platform/ScriptTool.h"
#include "platform/SecretStore.h"
#include "settings/Settings.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr Clock::Duration STORE_LIMIT = std::chrono::seconds(15); // for the store of secrets to be found
constexpr double SCRIPT_LIMIT = 10;                               // seconds

Task<Check> scriptCheck(std::shared_ptr<AppleScriptRunner::Run> handle) {
    const auto outcome = co_await AppleScriptRunner::run(u"return 6 * 7"_s, SCRIPT_LIMIT, handle);
    if (outcome.ok && outcome.text == u"42"_s)
        co_return Check{true, osascriptPath(), {}};
    co_return Check{false, outcome.text.trimmed(),
                    u"%1 must be ombru's own: build or install it again."_s.arg(osascriptPath())};
}

Task<Check> secretsCheck(std::stop_token stop) {
    const auto found = co_await backgroundWithin(STORE_LIMIT, stop, [] { return secretDirectory(); });
    if (!found)
        co_return Check{false, u"The desktop's store for secrets does not answer."_s,
                        u"Log out of the desktop and in again."_s};
    co_return Check{true,
                    *found ? u"kept in %1, for you alone to read: the desktop has no store for them"_s.arg(**found)
                           : u"kept in the desktop's own store"_s,
                    {}};
}

} // namespace

void DoctorCommand::interrupt() {
    m_stop.request_stop();
    m_script->cancel();
}

Task<int> DoctorCommand::run() {
    m_terminal.showLive(u"… Looking at the screen"_s);
    const auto screen = co_await screenCheck();
    print(m_terminal, finding(u"screen"_s, screen));
    const auto input = co_await inputCheck();
    print(m_terminal, finding(u"input"_s, input));
    m_terminal.showLive(u"… Asking the desktop"_s);
    const auto notifications = co_await notificationCheck();
    print(m_terminal, finding(u"notifications"_s, notifications));
    const auto secrets = co_await secretsCheck(m_stop.get_token());
    if (!m_stop.stop_requested())
        print(m_terminal, finding(u"secrets"_s, secrets));
    showService();
    m_terminal.showLive(u"… Asking claude whether it is signed in"_s);
    const auto claude = co_await Claude::check(m_stop.get_token());
    if (!m_stop.stop_requested())
        print(m_terminal, finding(claude));
    m_terminal.showLive(u"… Running a script"_s);
    const auto script = co_await scriptCheck(m_script);
    if (!m_stop.stop_requested())
        print(m_terminal, finding(u"osascript"_s, script));
    co_await showAllowed(claude);
    m_terminal.showLive({});
    if (m_stop.stop_requested())
        co_return 130;
    // Without notifications a task still runs; it only goes unannounced. What is not allowed yet is asked for.
    const bool ready = screen.works && input.works && std::holds_alternative<Claude::Ready>(claude) && script.works;
    co_return m_terminal.statusWhenSeen(ready ? 0 : 1);
}

// Nothing is said of one that is as it should be.
void DoctorCommand::showService() {
    const Settings settings(Settings::defaultFile());
    for (const auto &address : {settings.serverURL(), settings.agentURL()}) {
        if (isReadableOnTheWay(address))
            print(m_terminal, finding(u"service"_s, Check{false, readableOnTheWayText(address), {}}));
    }
    if (const auto address = settings.speechURL(); isReadableOnTheWay(address))
        print(m_terminal, finding(u"speech"_s, Check{false, speechReadableOnTheWayText(address), {}}));
}

Task<> DoctorCommand::showAllowed(const Claude::State &claude) {
    const auto stop = m_stop.get_token();
    m_terminal.showLive(u"… Asking what is allowed"_s);
    const auto allowed =
        co_await lookAtAllowed(stop, [this](const PermissionStates &permissions) { show(permissions); });
    if (stop.stop_requested())
        co_return;
    printApplications(m_terminal, allowed);
    print(m_terminal, finding(setup(claude, allowed.permissions, false)));
}

void DoctorCommand::show(const PermissionStates &permissions) {
    for (const auto &permission : Permissions::all) {
        auto found = finding(permission, permissions.value(permission.id, Permission::State::unknown));
        if (permission.id != u"automation"_s)
            found.remedy.clear(); // the looks at screen and input have said it
        print(m_terminal, found);
    }
}

int runCommand(DoctorOptions) {
    DoctorCommand command;
    return runLoop(command);
}

} // namespace ombru
