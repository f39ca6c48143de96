#include "app/privacy/PrivacyText.h"

#include "base/Text.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLocale>

#include <algorithm>

namespace ombru {

using namespace Qt::StringLiterals;
using State = Permission::State;

namespace {

constexpr qsizetype LONGEST_NAME = 60;
constexpr qsizetype LONGEST_PLACE = 240;

QString words(State state) {
    switch (state) {
    case State::granted:
        return QCoreApplication::translate("Privacy", "Granted");
    case State::missing:
        return QCoreApplication::translate("Privacy", "Not granted");
    case State::unknown:
        return QCoreApplication::translate("Privacy", "Not known");
    }
    Q_UNREACHABLE();
}

QString nameOf(const QString &id, const QMap<QString, QString> &names) {
    const auto plain = id.startsWith(u'/') ? QFileInfo(id).fileName() : id;
    return shownLine(names.value(id, plain), LONGEST_NAME);
}

QString when(const QDateTime &time) {
    return time.isValid() ? QLocale().toString(time.toLocalTime(), QLocale::ShortFormat) : u"–"_s;
}

} // namespace

std::optional<Permission> permissionAt(const QString &anchor) {
    const auto found = std::ranges::find(Permissions::all, anchor, &Permission::settingsPane);
    return found == Permissions::all.end() ? std::nullopt : std::optional(*found);
}

std::vector<PermissionRow> permissionRows(const PermissionStates &states, const QStringList &asking) {
    std::vector<PermissionRow> rows;
    for (const auto &permission : Permissions::all) {
        const auto state = states.value(permission.id, State::unknown);
        const bool isAsking = asking.contains(permission.id);
        rows.push_back({permission.id, permission.title, permission.why, words(state),
                        isAsking ? QCoreApplication::translate("Privacy", "Answer the prompt…")
                                 : QCoreApplication::translate("Privacy", "&Ask for it"),
                        state != State::granted && !isAsking});
    }
    return rows;
}

std::vector<DecisionRow> decisionRows(const std::vector<ConsentDecision> &decisions,
                                      const QMap<QString, QString> &names) {
    std::vector<DecisionRow> rows;
    for (const auto &decision : decisions)
        rows.push_back({decision.client, decision.application, decision.allowed, nameOf(decision.client, names),
                        shownLine(decision.client, LONGEST_PLACE), nameOf(decision.application, names),
                        shownLine(decision.application, LONGEST_PLACE),
                        decision.allowed ? QCoreApplication::translate("Privacy", "Allowed")
                                         : QCoreApplication::translate("Privacy", "Refused"),
                        when(decision.time)});
    return rows;
}

} // namespace ombru
