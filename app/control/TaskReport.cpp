#include "app/control/TaskReport.h"

#include <QJsonArray>
#include <QStringList>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

const QStringList &outcomes() { // in the order of the type
    static const QStringList names{u"done"_s,      u"answered"_s, u"outOfSteps"_s,
                                   u"cancelled"_s, u"failed"_s,   u"desktopInUse"_s};
    return names;
}

} // namespace

QJsonObject taskReport(const TaskResult &result) {
    QJsonArray blocked;
    for (const auto &target : result.blocked)
        blocked += QJsonObject{{u"id"_s, target.id}, {u"name"_s, target.name}};
    return {{u"ended"_s, QJsonObject{{u"outcome"_s, outcomes().at(static_cast<int>(result.outcome))},
                                     {u"scriptRefused"_s, result.scriptRefused},
                                     {u"blocked"_s, blocked}}}};
}

std::optional<TaskResult> reportedResult(const QJsonObject &line) {
    const auto ended = line["ended"_L1].toObject();
    const auto outcome = outcomes().indexOf(ended["outcome"_L1].toString());
    if (outcome < 0)
        return {};
    TaskResult result{static_cast<TaskResult::Outcome>(outcome), {}, ended["scriptRefused"_L1].toBool()};
    const auto blocked = ended["blocked"_L1].toArray();
    for (const auto &target : blocked)
        result.blocked.append({target["id"_L1].toString(), target["name"_L1].toString()});
    return result;
}

} // namespace ombru
