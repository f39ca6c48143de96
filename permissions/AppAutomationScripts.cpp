// Which applications a script addresses, and which of them the owner has not allowed.
#include "agent/RunCollecting.h"
#include "base/Background.h"
#include "permissions/AppAutomation.h"
#include "permissions/HiddenStart.h"
#include "permissions/Permissions.h"
#include "platform/ScriptTool.h"
#include "platform/Workspace.h"

#include <QRegularExpression>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 MOST_OUTPUT = 1 << 20;                     // bytes; an identifier has some dozens
constexpr auto NAME_GRACE = std::chrono::milliseconds(100); // the tool has nothing to tidy up
constexpr std::int32_t NO_ANSWER = -1712;                   // the system's own code for an answer that never came

QStringList captures(const QString &pattern, const QString &script) {
    const QRegularExpression expression(pattern, QRegularExpression::UseUnicodePropertiesOption);
    QStringList found;
    for (auto matches = expression.globalMatch(script); matches.hasNext();)
        found.append(matches.next().captured(1));
    found.removeDuplicates();
    return found;
}

void addOnce(std::vector<AppAutomation::Target> &targets, AppAutomation::Target target) {
    if (std::ranges::find(targets, target) == targets.end())
        targets.push_back(std::move(target));
}

Task<std::int32_t> judge(QString id, std::stop_token stop) {
    const auto code =
        co_await backgroundWithin(Permissions::LIMIT, stop, [id] { return AppAutomation::determine(id, false); });
    co_return code.value_or(NO_ANSWER);
}

Task<bool> isKnown(QString id, std::stop_token stop) {
    const auto known =
        co_await backgroundWithin(Permissions::LIMIT, stop, [id] { return applicationName(id).has_value(); });
    co_return known.value_or(false);
}

} // namespace

AppAutomation::Mentions AppAutomation::mentions(const QString &script) {
    return {captures(uR"~(application\s+id\s+"([^"]+)")~"_s, script),
            captures(uR"~(application\s+"([^"]+)")~"_s, script)};
}

Task<std::optional<QString>> AppAutomation::bundleID(QString name, std::stop_token stop) {
    const auto question = u"id of application \""_s + name.remove(u'"') + u'"';
    const auto process = Process::make({.program = osascriptPath(),
                                        .arguments = {u"-e"_s, question},
                                        .inherited = osascriptInherits(),
                                        .outputLimit = MOST_OUTPUT,
                                        .grace = NAME_GRACE});
    const auto told = co_await collectWithin(process, NAME_LIMIT, std::move(stop));
    if (!told || told->status != 0 || !told->out.isValidUtf8())
        co_return std::nullopt;
    const auto id = QString::fromUtf8(told->out).trimmed();
    co_return id.isEmpty() ? std::nullopt : std::optional(id);
}

Task<std::vector<AppAutomation::Target>> AppAutomation::targets(QString script, std::stop_token stop) {
    const auto answer = co_await backgroundUntil(stop, [script] { return mentions(script); });
    const auto mentioned = answer.value_or(Mentions());
    std::vector<Target> found;
    for (const auto &id : mentioned.ids) {
        if (stop.stop_requested())
            break;
        const auto name = co_await backgroundWithin(Permissions::LIMIT, stop, [id] { return displayName(id); });
        addOnce(found, {id, name.value_or(std::nullopt).value_or(id)});
    }
    for (const auto &name : mentioned.names) {
        if (stop.stop_requested())
            break;
        if (const auto id = co_await bundleID(name, stop))
            addOnce(found, {*id, name});
    }
    co_return found;
}

Task<std::vector<AppAutomation::Refusal>> AppAutomation::notAllowed(QString script, std::stop_token stop) {
    std::vector<Refusal> refusals;
    for (const auto &target : co_await targets(script, stop)) {
        if (stop.stop_requested())
            break;
        auto code = co_await judge(target.id, stop);
        if (code == AUTOMATION_NOT_RUNNING && co_await isKnown(target.id, stop)) {
            co_await startHidden(target.id, stop);
            code = co_await judge(target.id, stop);
        }
        if (code == AUTOMATION_UNDECIDED || code == AUTOMATION_REFUSED)
            refusals.push_back({target, code == AUTOMATION_REFUSED});
    }
    co_return refusals;
}

} // namespace ombru
