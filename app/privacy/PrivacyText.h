// What the privacy settings show, from what is known. Values and pure functions; any thread. Names from elsewhere come
// out fit to be shown.
#pragma once
#include "permissions/Permission.h"
#include "platform/Consent.h"

#include <QMap>
#include <QStringList>

#include <optional>
#include <vector>

namespace ombru {

// The permission whose pane has that anchor ("Privacy_Automation").
std::optional<Permission> permissionAt(const QString &anchor);

struct PermissionRow {
    QString id;
    QString title;
    QString why;
    QString state;
    QString button; // what asks for it
    bool canAsk = false;

    bool operator==(const PermissionRow &) const = default;
};

// One for each permission, in the order in which the owner is asked. `asking`: identifiers of those that are being
// asked for now.
std::vector<PermissionRow> permissionRows(const PermissionStates &states, const QStringList &asking);

struct DecisionRow {
    QString client; // as the record has them
    QString application;
    bool allowed = false;
    QString program; // for the owner, and below it exactly
    QString programPlace;
    QString target;
    QString targetPlace;
    QString decision;
    QString time;

    bool operator==(const DecisionRow &) const = default;
};

// In the order of the decisions. `names`: what the desktop calls applications, by identifier.
std::vector<DecisionRow> decisionRows(const std::vector<ConsentDecision> &decisions,
                                      const QMap<QString, QString> &names);

} // namespace ombru
