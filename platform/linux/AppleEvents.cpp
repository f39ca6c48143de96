#include "platform/AppleEvents.h"

#include "platform/Consent.h"
#include "platform/linux/applications/DesktopApplications.h"
#include "platform/linux/consent/ConsentCheck.h"
#include "platform/linux/x11/X11Taskbar.h"

#include <optional>

namespace ombru {
namespace {

// The windows as they were when they were asked for first: each look at them waits for the X server many times.
class OneLook : public X11Taskbar {
public:
    Result<std::vector<DesktopWindow>> windows() override {
        if (!m_windows)
            m_windows = X11Taskbar::windows();
        return *m_windows;
    }

private:
    std::optional<Result<std::vector<DesktopWindow>>> m_windows;
};

std::int32_t determine(const DesktopApplications &applications, const QString &id, bool ask) {
    if (id.isEmpty() || id.contains(QChar(u'\0')))
        return AUTOMATION_BAD_TARGET;
    if (!applications.isRunning(id)) // nor does what is called by a name: only an identifier says which one is meant
        return AUTOMATION_NOT_RUNNING;
    const auto application = consentIdentity(ConsentParty::application, id);
    return ConsentCheck({ownConsentClient(), std::nullopt}).automation(application, ask);
}

DesktopApplications applicationsOf(Taskbar &windows) {
    return DesktopApplications([&windows]() -> Result<Taskbar *> { return &windows; });
}

} // namespace

std::int32_t determineAutomation(const QString &id, bool ask) {
    X11Taskbar windows;
    return determine(applicationsOf(windows), id, ask);
}

std::vector<std::int32_t> determineAutomation(const QStringList &ids) {
    OneLook windows;
    const auto applications = applicationsOf(windows);
    std::vector<std::int32_t> codes;
    for (const auto &id : ids)
        codes.push_back(determine(applications, id, false));
    return codes;
}

} // namespace ombru
