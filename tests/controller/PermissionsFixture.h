// A controller on a computer whose permissions a test decides.
#pragma once
#include "permissions/Permissions.h"
#include "tests/controller/LoopFixture.h"

#include <atomic>

namespace ombru::test {

using State = Permission::State;
using Target = AppAutomation::Target;

inline const QString SYSTEM_EVENTS = u"com.apple.systemevents"_s;
inline const QString MAIL = u"com.apple.mail"_s;
inline const QString NOTES = u"com.apple.Notes"_s;
inline const Target MAIL_TARGET{MAIL, u"Mail"_s};

class PermissionsOfTheController : public LoopFixture {
protected:
    PermissionsOfTheController() {
        claude.playAlways("case $1 in --help) echo '" + Claude::requiredFlags.join(u' ').toUtf8() +
                          "';; auth) echo '{\"loggedIn\":true,\"email\":\"ann@example.org\"}';; esac");
        add(SYSTEM_EVENTS, {u"System Events"_s});
    }
    ~PermissionsOfTheController() override { openGate(); }

    static Guarded<FakeDesktop> &desktop() { return FakePlatform::instance().desktop; }
    static void add(const QString &id, const FakeApplication &application) {
        desktop()->applications[id] = application;
    }
    static QStringList determined(const QString &kind) { return QStringList(desktop()->determined).filter(kind); }
    static QStringList opened() { return copied(desktop()->openedURLs); }

    void refresh() { await(state->refreshPermissions()); }

    void restart() {
        await(state->drain());
        state = std::make_unique<AppState>();
    }

    // From now on the system's answers about that application wait until the gate is opened.
    void closeGate(const QString &id) {
        desktop()->beforeDetermining = [id, gate = gate, waiting = waiting](const QString &asked, bool) {
            if (asked != id)
                return;
            *waiting = true;
            gate->wait(false);
        };
    }
    bool gateIsReached() {
        return waitUntil([&] { return waiting->load(); });
    }
    void openGate() {
        *gate = true;
        gate->notify_all();
    }
    void refuseEverything() {
        desktop()->screenAllowed = desktop()->screenAnswer = false;
        desktop()->inputAllowed = desktop()->inputAnswer = false;
        add(SYSTEM_EVENTS, {.name = u"System Events"_s, .permission = AUTOMATION_REFUSED});
        osascript.playAlways("exit 1");
    }

    std::shared_ptr<std::atomic<bool>> gate = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<std::atomic<bool>> waiting = std::make_shared<std::atomic<bool>>(false);
};

inline QString pane(const QString &name) {
    return u"x-apple.systempreferences:com.apple.preference.security?"_s + name;
}

} // namespace ombru::test
