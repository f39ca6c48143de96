#include "platform/linux/consent/DisplayAbove.h"

#include "platform/linux/consent/Ancestry.h"
#include "platform/linux/consent/ConsentPrompt.h"

#include <algorithm>

namespace ombru {

namespace {

constexpr qint64 INIT = 1; // also of a container; what has lost its parents comes below it

} // namespace

bool isBelowADisplay(const QString &processes, qint64 pid) {
    const auto placeOf = [&](qint64 number) { return processes + u'/' + QString::number(number); };
    const auto isOwners = [&, owner = statusOf(placeOf(pid), "Uid").value(0)](qint64 number) {
        return number != INIT && statusOf(placeOf(number), "Uid").value(0) == owner;
    };
    const auto [ancestors, whole] = ancestryOf(processes, pid);
    for (auto each = ancestors.begin(); each != ancestors.end(); ++each) {
        const auto environment = environmentOf(placeOf(each->pid));
        const auto above = std::next(each);
        const bool isLogin = above != ancestors.end() && above->pid != INIT && !isOwners(above->pid);
        if (environment ? hasDisplay(*environment) : isOwners(each->pid) && !isLogin)
            return true;
    }
    return !whole;
}

bool isBelowADisplay() {
    return isBelowADisplay(QStringLiteral("/proc"), ownNumber());
}

} // namespace ombru
