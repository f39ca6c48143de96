#include "app/cli/DoctorCommand.h"

#include "app/cli/CommandLine.h"
#include "app/cli/CommandLoop.h"
#include "app/cli/Findings.h"
#include "app/cli/PlacesCheck.h"
#include "base/Background.h"
#include "cloud/PlainHttp.h"
#include "platform/ScriptTool.h"
#include "platform/SecretStore.h"
#include "platform/StopKey.h"
#include "settings/Settings.h"

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr Clock::Duration STORE_LIMIT = std::chrono::seconds(15); // for the store of secrets to be found
constexpr Clock::Duration DISPLAY_LIMIT = std::chrono::seconds(2);
constexpr Clock::Duration HANGING_LIMIT = std::chrono::seconds(1); // for one that has not answered before
constexpr Clock::Duration DISK_LIMIT = std::chrono::seconds(5);
constexpr double SCRIPT_LIMIT = 10; // seconds

Task<Check> scriptCheck(std::shared_ptr<AppleScriptRunner::Run> handle) {
    const auto outcome = co_await AppleScriptRunner::run(u"return 6 * 7"_s, SCRIPT_LIMIT, handle);
    if (outcome.ok && outcome.text == u"42"_s)
        co_return Check{true, osascriptPath(), {}};
    co_return Check{false, outcome.text.trimmed(),
                    u"%1 must be ombru's own: build or install it again."_s.arg(osascriptPath())};
}

struct Secrets {
    std::optional<QString> directory;
    bool lagBehind = false;
};

Secrets lookAtSecrets() {
    return {secretDirectory(), storeLagsBehind()};
}

Task<Check> secretsCheck(std::stop_token stop) {
    const auto found = co_await backgroundWithin(STORE_LIMIT, stop, lookAtSecrets);
    if (!found)
        co_return Check{false, u"The desktop's store for secrets does not answer."_s,
                        u"Log out of the desktop and in again."_s};
    if (found->lagBehind)
        co_return Check{false, u"The desktop's store has not taken the last change: what it still has is not used."_s,
                        u"Unlock the store: the next start of ombru deletes that. To be signed in, sign in again."_s};
    co_return Check{true,
                    found->directory ? u"kept in %1, for you alone to read: the desktop has no store for them"_s.arg(
                                           *found->directory)
                                     : u"kept in the desktop's own store"_s,
                    {}};
}

Task<std::optional<Check>> stopKeyCheck(std::stop_token stop) {
    const auto keys = KeyCombination::parsed(Settings(Settings::defaultFile()).stopKey());
    if (!keys)
        co_return std::nullopt;
    const auto usable = co_await backgroundWithin(DISPLAY_LIMIT, stop, [keys] { return stopKeyUsable(*keys); });
    if (!usable)
        co_return std::nullopt; // the looks at screen and input have said it
    co_return describe(*keys, *usable);
}

} // namespace

void DoctorCommand::interrupt() {
    m_stop.request_stop();
    m_script->cancel();
}

// All at once: a display that does not answer is waited for only once.
Task<bool> DoctorCommand::lookAtDesktop() {
    m_terminal.showLive(u"… Looking at the screen"_s);
    auto lookingAtScreen = screenCheck();
    auto lookingAtInput = inputCheck();
    auto lookingAtStopKey = stopKeyCheck(m_stop.get_token());
    const auto screen = co_await std::move(lookingAtScreen);
    m_displayHangs = !screen.answered;
    print(m_terminal, finding(u"screen"_s, screen));
    const auto input = co_await std::move(lookingAtInput);
    const bool asScreen = !screen.works && input.what == screen.what; // a display that is not there is said once
    print(m_terminal, finding(u"input"_s, asScreen ? Check{false, u"it needs that display, too"_s, {}} : input));
    if (const auto stopKey = co_await std::move(lookingAtStopKey); stopKey && stopKey->what != screen.what)
        print(m_terminal, finding(u"stop key"_s, *stopKey));
    co_return (screen.works && input.works);
}

Task<bool> DoctorCommand::lookAtPlaces() {
    const auto places = co_await backgroundWithin(DISK_LIMIT, m_stop.get_token(), checkPlaces);
    if (m_stop.stop_requested())
        co_return false;
    if (!places) {
        print(m_terminal, finding(u"data"_s, Check{false, u"the disk with your data does not answer"_s, {}}));
        co_return false;
    }
    for (const auto &[name, check] : *places)
        print(m_terminal, finding(name, check));
    co_return std::ranges::all_of(*places, [](const auto &place) { return place.check.works; });
}

Task<int> DoctorCommand::run() {
    const bool desktop = co_await lookAtDesktop();
    m_terminal.showLive(u"… Asking the desktop"_s);
    const auto notifications = co_await notificationCheck();
    print(m_terminal, finding(u"notifications"_s, notifications));
    const auto secrets = co_await secretsCheck(m_stop.get_token());
    if (!m_stop.stop_requested())
        print(m_terminal, finding(u"secrets"_s, secrets));
    const bool places = co_await lookAtPlaces();
    showService();
    m_terminal.showLive(u"… Asking claude whether it is signed in"_s);
    const auto claude = co_await Claude::check(m_stop.get_token());
    if (!m_stop.stop_requested())
        print(m_terminal, finding(claude));
    m_terminal.showLive(u"… Running a script"_s);
    const auto script = co_await scriptCheck(m_script);
    if (!m_stop.stop_requested())
        print(m_terminal, finding(u"osascript"_s, script));
    const bool allowed = co_await showAllowed(claude);
    m_terminal.showLive({});
    if (m_stop.stop_requested())
        co_return 130;
    // Without notifications a task still runs; it only goes unannounced. That claude is ready is a part of the setup.
    co_return m_terminal.statusWhenSeen(desktop && places && script.works && allowed ? 0 : 1);
}

// Nothing is said of one that is as it should be.
void DoctorCommand::showService() {
    const Settings settings(Settings::defaultFile());
    if (const auto known = settings.isOfThisVersion(); !known)
        print(m_terminal, finding(u"settings"_s, Check{false, known.error().description,
                                                       u"Install that one again, or move the file away."_s}));
    for (const auto &address : {settings.serverURL(), settings.agentURL()}) {
        if (isReadableOnTheWay(address))
            print(m_terminal, finding(u"service"_s, Check{false, readableOnTheWayText(address), {}}));
    }
    if (const auto address = settings.speechURL(); isReadableOnTheWay(address))
        print(m_terminal, finding(u"speech"_s, Check{false, speechReadableOnTheWayText(address), {}}));
}

Task<bool> DoctorCommand::showAllowed(const Claude::State &claude) {
    const auto stop = m_stop.get_token();
    m_terminal.showLive(u"… Asking what is allowed"_s);
    const auto allowed = co_await lookAtAllowed(
        stop, [this](const PermissionStates &permissions) { show(permissions); },
        m_displayHangs ? HANGING_LIMIT : Permissions::LIMIT);
    if (stop.stop_requested())
        co_return false;
    printApplications(m_terminal, allowed);
    const auto left = setup(claude, allowed.permissions, false);
    auto found = finding(left);
    if (left == Setup::allow || left == Setup::denied) // else claude comes first
        found.remedy = undecidedText(allowed);
    print(m_terminal, found);
    co_return left == Setup::done;
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
