#include "permissions/HiddenStart.h"

#include "base/Background.h"
#include "permissions/Permissions.h"
#include "platform/SystemLog.h"
#include "platform/Workspace.h"

namespace ombru {

using namespace std::chrono_literals;

namespace {

constexpr int LOOKS = 50;
constexpr auto BETWEEN_LOOKS = 100ms;
constexpr auto UNTIL_IT_LISTENS = 300ms; // it runs a little before it takes events

void open(const QString &id) {
    if (const auto opened = openApplicationHidden(id); !opened)
        logger::error(opened.error().description);
}

} // namespace

Task<bool> canBeStarted(QString id, std::stop_token stop) {
    const auto answer = co_await backgroundWithin(
        Permissions::LIMIT, stop, [id] { return !applicationRuns(id) && applicationName(id).has_value(); });
    co_return answer.value_or(false);
}

Task<> startHidden(QString id, std::stop_token stop) {
    co_await backgroundWithin(Permissions::LIMIT, stop, [id] {
        open(id);
        return true;
    });
    for (int look = 0; look < LOOKS && !stop.stop_requested(); ++look) {
        const auto runs = co_await backgroundWithin(Permissions::LIMIT, stop, [id] { return applicationRuns(id); });
        if (runs.value_or(false))
            break;
        co_await sleep(BETWEEN_LOOKS, stop);
    }
    co_await sleep(UNTIL_IT_LISTENS, stop);
}

} // namespace ombru
