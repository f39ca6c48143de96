// Asking for what is not allowed.
#include "agent/RunCollecting.h"
#include "base/Background.h"
#include "base/SystemEvents.h"
#include "permissions/AppAutomation.h"
#include "permissions/Permissions.h"
#include "platform/InputAccess.h"
#include "platform/ScreenAccess.h"
#include "platform/ScriptTool.h"
#include "platform/SystemLog.h"
#include "platform/Workspace.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

const QString ANY_EVENT = u"tell application \"%1\" to return name of first process"_s.arg(SYSTEM_EVENTS_NAME);

// An event to the application makes the system show its prompt.
Task<bool> sendAnyEvent(std::stop_token stop) {
    const auto process = Process::make(
        {.program = osascriptPath(), .arguments = {u"-e"_s, ANY_EVENT}, .inherited = osascriptInherits()});
    const auto sent = co_await collectWithin(process, Permissions::ANSWERING, stop);
    co_return sent && sent->status == 0;
}

Task<bool> ask(QString id, std::stop_token stop) {
    if (id == u"screen"_s)
        co_return (co_await backgroundWithin(Permissions::ANSWERING, stop, requestScreenCapture)).value_or(false);
    if (id == u"accessibility"_s)
        co_return (co_await backgroundWithin(Permissions::ANSWERING, stop, requestInput)).value_or(false);
    if (id == u"automation"_s)
        co_return co_await sendAnyEvent(stop);
    co_return false;
}

} // namespace

Task<> Permissions::request(Permission permission, std::stop_token stop) {
    const bool allowed = co_await ask(permission.id, stop);
    if (!allowed && !stop.stop_requested())
        openSettings(permission);
}

void Permissions::openSettings(const Permission &permission) {
    openSettingsPane(permission.settingsPane);
}

void Permissions::openSettingsPane(const QString &pane) {
    runInBackground([url = u"x-apple.systempreferences:com.apple.preference.security?"_s + pane] {
        if (const auto opened = openURL(url); !opened)
            logger::error(opened.error().description);
    });
}

void AppAutomation::openSettings() {
    Permissions::openSettingsPane(u"Privacy_Automation"_s);
}

Result<> Permissions::relaunch(std::function<void()> terminate) {
    if (const auto left = reopenAfterExit(); !left)
        return left;
    // From the loop: whoever asked may still be on the stack.
    Loop::main().post(std::move(terminate));
    return {};
}

} // namespace ombru
