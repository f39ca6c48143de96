#include "platform/AppleEvents.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

namespace {

std::int32_t answer(FakeDesktop &desktop, const QString &id, bool ask) {
    desktop.determined.append((ask ? QStringLiteral("ask ") : QStringLiteral("look ")) + id);
    if (id.isEmpty())
        return AUTOMATION_BAD_TARGET;
    const auto found = desktop.applications.find(id);
    if (found == desktop.applications.end() || !found->second.running)
        return AUTOMATION_NOT_RUNNING;
    auto &application = found->second;
    if (ask && application.permission == AUTOMATION_UNDECIDED)
        application.permission = application.answer;
    return application.permission;
}

} // namespace

std::int32_t determineAutomation(const QString &id, bool ask) {
    auto &desktop = FakePlatform::instance().desktop;
    if (const auto before = desktop->beforeDetermining)
        before(id, ask);
    const auto locked = desktop.lock();
    return answer(*locked, id, ask);
}

std::vector<std::int32_t> determineAutomation(const QStringList &ids) {
    std::vector<std::int32_t> codes;
    for (const auto &id : ids)
        codes.push_back(determineAutomation(id, false));
    return codes;
}

} // namespace ombru
