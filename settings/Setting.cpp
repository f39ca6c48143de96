#include "settings/Setting.h"

#include "base/Text.h"
#include "settings/SettingsStore.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cmath>

namespace ombru {

using namespace Qt::StringLiterals;

Setting::Setting(SettingsStore &store, QStringView name, QStringView says, QStringView measure)
    : key(name.toString()), meaning(says.toString()), unit(measure.toString()), m_store(store) {
    store.m_settings.push_back(this);
}

QString Setting::text() const {
    return m_store.text(*this);
}

Result<QString> Setting::checked(const QString &typed) const {
    if (auto text = kept(typed))
        return *std::move(text);
    const auto shown = characterCount(typed) > 60 ? firstCharacters(typed, 60) + u"…"_s : typed;
    return std::unexpected(Failure{u"settings"_s, 1, u"%1 cannot be \"%2\": it takes %3"_s.arg(key, shown, takes())});
}

Result<> Setting::writeTyped(const QString &typed) {
    const auto text = checked(typed);
    if (!text)
        return std::unexpected(text.error());
    return m_store.write(*this, *text);
}

Result<> Setting::overrideTyped(const QString &typed) {
    auto text = checked(typed);
    if (!text)
        return std::unexpected(text.error());
    m_store.m_overrides[key] = *std::move(text);
    return {};
}

void Setting::endOverride() {
    m_store.m_overrides.erase(key);
}

// --- Boolean

BooleanSetting::BooleanSetting(SettingsStore &store, QStringView name, bool initial, QStringView says)
    : TypedSetting(store, name, initial, says) {}

std::optional<bool> BooleanSetting::parsed(const QString &typed) const {
    for (const bool value : {true, false}) {
        if (typed == printed(value))
            return value;
    }
    return std::nullopt;
}

QString BooleanSetting::printed(const bool &value) const {
    return value ? u"true"_s : u"false"_s;
}

QString BooleanSetting::takes() const {
    return u"true or false"_s;
}

// --- Integer and real

template <class Number>
NumberSetting<Number>::NumberSetting(SettingsStore &store, QStringView name, Number initial, Range<Number> range,
                                     QStringView says)
    : TypedSetting<Number>(store, name, initial, says, range.unit), m_range(range) {}

template <class Number>
std::optional<Number> NumberSetting<Number>::parsed(const QString &typed) const {
    bool readable = false;
    Number value = 0;
    if constexpr (std::is_integral_v<Number>)
        value = typed.toInt(&readable);
    else
        value = typed.toDouble(&readable);
    // Written so that what is no number at all is not in the range.
    if (!readable || !(value >= m_range.least && value <= m_range.most))
        return std::nullopt;
    return value;
}

template <class Number>
QString NumberSetting<Number>::printed(const Number &value) const {
    if constexpr (std::is_integral_v<Number>)
        return QString::number(value);
    else
        return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

template <class Number>
QString NumberSetting<Number>::takes() const {
    const auto unit = this->unit.isEmpty() ? QString() : u" "_s + this->unit;
    const auto kind = std::is_integral_v<Number> ? u"a whole number"_s : u"a number"_s;
    return u"%1 from %2 to %3%4"_s.arg(kind).arg(m_range.least).arg(m_range.most).arg(unit);
}

template class NumberSetting<int>;
template class NumberSetting<double>;

// --- Text

TextSetting::TextSetting(SettingsStore &store, QStringView name, QStringView initial, QStringView says, TextRule rule)
    : TypedSetting(store, name, initial.toString(), says), m_rule(rule) {}

std::optional<QString> TextSetting::parsed(const QString &typed) const {
    if (m_rule.allows && !m_rule.allows(typed))
        return std::nullopt;
    return typed;
}

QString TextSetting::takes() const {
    return m_rule.takes.toString();
}

// --- Map

MapSetting::MapSetting(SettingsStore &store, QStringView name, QStringView says, MapRule rule)
    : TypedSetting(store, name, {}, says), m_rule(std::move(rule)) {}

std::optional<TextMap> MapSetting::parsed(const QString &typed) const {
    TextMap map;
    if (typed.isEmpty())
        return map;
    const auto document = QJsonDocument::fromJson(typed.toUtf8());
    if (!document.isObject())
        return std::nullopt;
    const auto object = document.object();
    for (auto entry = object.begin(); entry != object.end(); ++entry) {
        const auto value = entry.value().toString();
        const bool known = m_rule.values.empty() || std::ranges::find(m_rule.values, value) != m_rule.values.end();
        if (!entry.value().isString() || !known)
            return std::nullopt;
        map[entry.key()] = value;
    }
    return map;
}

QString MapSetting::printed(const TextMap &value) const {
    if (value.isEmpty())
        return {};
    QJsonObject object;
    for (const auto &[name, text] : value.asKeyValueRange())
        object[name] = text;
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

std::optional<QString> MapSetting::kept(const QString &typed) const {
    return parsed(typed).transform([&typed](const TextMap &) { return typed; });
}

QString MapSetting::takes() const {
    if (m_rule.values.empty())
        return u"a JSON object such as {\"%1\":\"a text\"}"_s.arg(m_rule.exampleKey);
    QStringList names;
    for (const auto &value : m_rule.values)
        names.append(value.toString());
    const auto last = names.takeLast();
    const auto all = names.isEmpty() ? last : names.join(u", ") + u" or "_s + last;
    return u"a JSON object such as {\"%1\":\"%2\"}, with %3"_s.arg(m_rule.exampleKey, m_rule.values.front(), all);
}

} // namespace ombru
