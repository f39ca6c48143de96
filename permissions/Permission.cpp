#include "permissions/Permission.h"

namespace ombru {

using namespace Qt::StringLiterals;
using State = Permission::State;

const std::vector<Permission> Permissions::all{
    {u"screen"_s, u"Screen Recording"_s,
     u"Lets Claude see your screen (screenshots) and lets callers hear your Mac's audio."_s, true,
     u"Privacy_ScreenCapture"_s},
    {u"accessibility"_s, u"Accessibility"_s, u"Lets Claude click, type and press keys for you."_s, true,
     u"Privacy_Accessibility"_s},
    {u"automation"_s, u"Automation"_s, u"Lets Claude script apps through System Events (the basis of most tasks)."_s,
     true, u"Privacy_Automation"_s},
};

QString stateName(State state) {
    switch (state) {
    case State::granted:
        return u"granted"_s;
    case State::missing:
        return u"missing"_s;
    case State::unknown:
        return u"unknown"_s;
    }
    Q_UNREACHABLE();
}

std::optional<State> stateNamed(const QString &name) {
    for (const auto state : {State::granted, State::missing, State::unknown}) {
        if (stateName(state) == name)
            return state;
    }
    return std::nullopt;
}

QMap<QString, QString> stateNames(const PermissionStates &states) {
    QMap<QString, QString> names;
    for (const auto &[id, state] : states.asKeyValueRange())
        names[id] = stateName(state);
    return names;
}

PermissionStates permissionStates(const QMap<QString, QString> &names) {
    PermissionStates states;
    for (const auto &[id, name] : names.asKeyValueRange()) {
        if (const auto state = stateNamed(name))
            states[id] = *state;
    }
    return states;
}

} // namespace ombru
