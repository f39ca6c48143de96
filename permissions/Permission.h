// What the owner has to allow before the agent can work, and how far it is allowed. Values; any thread.
#pragma once
#include <QMap>
#include <QString>

#include <optional>
#include <vector>

namespace ombru {

struct Permission {
    enum class State { granted, missing, unknown };

    QString id;
    QString title;        // for the owner
    QString why;          // one line for the owner
    bool required = true; // setup cannot finish without it
    QString settingsPane; // anchor of its pane in the system's settings

    bool operator==(const Permission &) const = default;
};

// By the identifier of a permission or of an application.
using PermissionStates = QMap<QString, Permission::State>;

// "granted", "missing" or "unknown".
QString stateName(Permission::State state);
std::optional<Permission::State> stateNamed(const QString &name);

// Identifier to name of the state, and back; an entry that is no state counts as absent.
QMap<QString, QString> stateNames(const PermissionStates &states);
PermissionStates permissionStates(const QMap<QString, QString> &names);

namespace Permissions {

// The fixed table, in the order in which the owner is asked.
extern const std::vector<Permission> all;

} // namespace Permissions

} // namespace ombru
