// Looking at what is allowed.
#include "permissions/Permissions.h"

#include "base/Background.h"
#include "base/SystemEvents.h"
#include "permissions/AppAutomation.h"
#include "platform/InputAccess.h"
#include "platform/ScreenAccess.h"
#include "platform/SystemLog.h"
#include "platform/Workspace.h"

namespace ombru {

using namespace Qt::StringLiterals;
using State = Permission::State;

namespace {

State granted(bool allowed) {
    return allowed ? State::granted : State::missing;
}

// Nobody waits for it. The job is begun from the main thread, because the pool may be ending while this one still runs.
void startUnseen(const QString &id) {
    Loop::main().post([id] {
        runInBackground([id] {
            if (!applicationName(id))
                return;
            if (const auto opened = openApplicationHidden(id); !opened)
                logger::error(opened.error().description);
        });
    });
}

State automationState(const QString &id) {
    switch (AppAutomation::determine(id, false)) {
    case AUTOMATION_ALLOWED:
        return State::granted;
    case AUTOMATION_REFUSED:
    case AUTOMATION_UNDECIDED:
        return State::missing;
    case AUTOMATION_NOT_RUNNING:
        startUnseen(id);
        return State::unknown;
    default:
        return State::unknown;
    }
}

} // namespace

State Permissions::state(const QString &id) {
    if (id == u"screen"_s)
        return granted(screenCaptureAllowed());
    if (id == u"accessibility"_s)
        return granted(inputAllowed());
    if (id == u"automation"_s)
        return automationState(SYSTEM_EVENTS_ID.toString());
    return State::unknown;
}

} // namespace ombru
