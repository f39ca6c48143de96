#include "base/Text.h"
#include "settings/Settings.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrl>

#include <algorithm>
#include <cmath>

namespace ombru {

using namespace Qt::StringLiterals;
using Type = SettingInfo::Type;

namespace {

QString originProblem(const QString &typed) {
    const QUrl url(typed, QUrl::StrictMode);
    const bool local = url.host() == "localhost"_L1 || url.host() == "127.0.0.1"_L1 || url.host() == "::1"_L1;
    const bool scheme = url.scheme() == "https"_L1 || (url.scheme() == "http"_L1 && local);
    const bool bare = (url.path().isEmpty() || url.path() == "/"_L1) && !url.hasQuery() && !url.hasFragment();
    if (!url.isValid() || url.host().isEmpty() || !scheme || !bare || !url.userInfo().isEmpty())
        return u"it takes an origin such as https://ombru.example (plain http only for this computer itself)"_s;
    return {};
}

QString statesProblem(const QString &typed) {
    if (typed.isEmpty())
        return {};
    const auto document = QJsonDocument::fromJson(typed.toUtf8());
    const auto object = document.object();
    const bool known = std::ranges::all_of(object, [](const QJsonValue &state) {
        return QStringList{u"granted"_s, u"missing"_s, u"unknown"_s}.contains(state.toString());
    });
    if (!document.isObject() || !known)
        return uR"(it takes a JSON object such as {"com.apple.finder":"granted"}, with granted, missing or unknown)"_s;
    return {};
}

QString describeRange(const SettingInfo &setting) {
    const auto unit = setting.unit.isEmpty() ? QString() : u" "_s + setting.unit;
    const auto kind = setting.type == Type::integer ? u"a whole number"_s : u"a number"_s;
    return u"it takes %1 from %2 to %3%4"_s.arg(kind).arg(setting.least).arg(setting.most).arg(unit);
}

} // namespace

const std::vector<SettingInfo> &settingsTable() {
    static const std::vector<SettingInfo> table{
        {u"serverURL"_s,
         Type::text,
         u"https://ombru.example"_s,
         0,
         0,
         {},
         u"origin of the service this computer signs in to"_s,
         originProblem},
        {u"model"_s, Type::text, u""_s, 0, 0, {}, u"model that claude is asked to use; empty for its own default"_s},
        {u"maxSteps"_s, Type::integer, 15, 1, 1000, {}, u"most turns the agent may take for one task"_s},
        {u"scriptTimeout"_s, Type::real, 60.0, 0.1, 86400, u"seconds"_s, u"how long one script may run"_s},
        {u"settle"_s, Type::real, 1.0, 0, 60, u"seconds"_s, u"pause after a script before the next screenshot"_s},
        {u"callPort"_s, Type::integer, 8765, 1, 65535, {}, u"TCP port of the local call server"_s},
        {u"cachedPrompt"_s, Type::text, u""_s, 0, 0, {}, u"last system prompt received from the service"_s},
        {u"appAutomation"_s,
         Type::text,
         u""_s,
         0,
         0,
         {},
         u"which applications ombru may control, as last seen"_s,
         statesProblem},
    };
    return table;
}

const SettingInfo *findSetting(const QString &key) {
    for (const auto &setting : settingsTable()) {
        if (setting.key == key)
            return &setting;
    }
    return nullptr;
}

Result<QVariant> parseSetting(const SettingInfo &setting, const QString &typed) {
    const auto refuse = [&](const QString &why) {
        const auto shown = characterCount(typed) > 60 ? firstCharacters(typed, 60) + u"…"_s : typed;
        return std::unexpected(Failure{u"settings"_s, 1, u"%1 cannot be \"%2\": %3"_s.arg(setting.key, shown, why)});
    };
    if (setting.type == Type::text) {
        const auto problem = setting.problem ? setting.problem(typed) : QString();
        if (!problem.isEmpty())
            return refuse(problem);
        return typed;
    }
    bool parsed = false;
    const double number = setting.type == Type::integer ? typed.toInt(&parsed) : typed.toDouble(&parsed);
    if (!parsed || !std::isfinite(number) || number < setting.least || number > setting.most)
        return refuse(describeRange(setting));
    return setting.type == Type::integer ? QVariant(int(number)) : QVariant(number);
}

} // namespace ombru
