#include "permissions/Permission.h"

#include <QJsonDocument>
#include <QJsonObject>

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

QString toText(const PermissionStates &states) {
    if (states.isEmpty())
        return {};
    QJsonObject object;
    for (const auto &[id, state] : states.asKeyValueRange())
        object[id] = stateName(state);
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

PermissionStates permissionStates(const QString &text) {
    PermissionStates states;
    const auto object = QJsonDocument::fromJson(text.toUtf8()).object();
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        if (const auto state = stateNamed(entry.value().toString()))
            states[entry.key()] = *state;
    }
    return states;
}

} // namespace ombru
