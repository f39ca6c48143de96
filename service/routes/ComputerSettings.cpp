#include "service/routes/ComputerSettings.h"

#include "service/live/Json.h"

#include <array>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

struct Setting {
    ComputerField field;
    QStringView name;
    QStringView initial;
    qsizetype most; // characters; 0 for a choice
    bool secret = false;
};

constexpr std::array<Setting, 6> SETTINGS = {
    {{ComputerField::systemPrompt, u"systemPrompt", u"", 50'000},
     {ComputerField::greeting, u"greeting", u"Hey, what can I help you with?", 1000},
     {ComputerField::voice, u"voice", u"aura-2-thalia-en", 200},
     {ComputerField::speechKey, u"speechKey", u"", 500, true},
     {ComputerField::trusted, u"trusted", u"off", 0},
     {ComputerField::shareAudio, u"shareAudio", u"on", 0}}};

const Setting &settingOf(ComputerField field) {
    return *std::ranges::find(SETTINGS, field, &Setting::field);
}

Failure wrong(const Setting &setting) {
    const auto takes = setting.most == 0 ? u"true or false"_s : u"a text of %1 characters at most"_s.arg(setting.most);
    return {u"settings"_s, 0, u"%1 is %2."_s.arg(setting.name.toString(), takes)};
}

} // namespace

QString textOf(const ComputerFields &fields, ComputerField field) {
    const auto set = fields.find(field);
    const bool none = set == fields.end() || set->second.text.isEmpty();
    return none ? settingOf(field).initial.toString() : set->second.text;
}

bool isOn(const ComputerFields &fields, ComputerField field) {
    return textOf(fields, field) == "on"_L1;
}

QJsonObject settingsJson(const ComputerFields &fields, const ComputerRecord &computer, const QString &defaultPrompt) {
    QJsonObject json{{u"defaultPrompt"_s, defaultPrompt}, {u"fetchedAt"_s, orNull(computer.fetched)}};
    QJsonObject saved;
    QJsonObject arrived;
    for (const auto &setting : SETTINGS) {
        const auto name = setting.name.toString();
        const auto set = fields.find(setting.field);
        saved[name] = set == fields.end() ? QJsonValue() : QJsonValue(set->second.saved);
        arrived[name] = set == fields.end() ? QJsonValue() : orNull(set->second.arrived);
        if (setting.secret)
            json[name + u"Set"_s] = !textOf(fields, setting.field).isEmpty();
        else if (setting.most == 0)
            json[name] = isOn(fields, setting.field);
        else
            json[name] = textOf(fields, setting.field);
    }
    json[u"savedAt"_s] = saved;
    json[u"arrivedAt"_s] = arrived;
    return json;
}

Result<std::map<ComputerField, QString>> settingsFrom(const QJsonObject &json) {
    std::map<ComputerField, QString> values;
    for (const auto &setting : SETTINGS) {
        const auto value = json[setting.name];
        if (value.isUndefined())
            continue;
        const bool isChoice = setting.most == 0;
        if (isChoice ? !value.isBool() : !value.isString() || value.toString().size() > setting.most)
            return std::unexpected(wrong(setting));
        values.emplace(setting.field, isChoice ? (value.toBool() ? u"on"_s : u"off"_s) : value.toString());
    }
    return values;
}

} // namespace ombru
