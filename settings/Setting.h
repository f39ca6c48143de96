// What one of the owner's settings is: its key, its default, what it may be, and the ways to read and write it; a class
// for each kind of value. A setting is a member of Settings and lists itself there. Main thread.
//
//     const int most = settings.maxSteps();
//     if (const auto written = settings.maxSteps.write(20); !written) ...
#pragma once
#include "base/Failure.h"

#include <QMap>
#include <QString>

#include <optional>
#include <vector>

namespace ombru {

class SettingsStore;

class Setting {
public:
    Setting(SettingsStore &store, QStringView key, QStringView meaning, QStringView unit = {});
    virtual ~Setting() = default;
    Setting(const Setting &) = delete;
    Setting &operator=(const Setting &) = delete;

    const QString key;
    const QString meaning; // one line for the owner
    const QString unit;    // "seconds"; empty for none

    // The value in force and the value on a fresh profile, as the file would keep them.
    QString text() const;
    virtual QString initialText() const = 0;

    // What a person typed, as the file keeps it. Domain "settings"; the failure says what would be right.
    Result<QString> checked(const QString &typed) const;

    // The same as write() and override() of the kinds, with what a person typed.
    Result<> writeTyped(const QString &typed);
    Result<> overrideTyped(const QString &typed);
    void endOverride(); // the file's value counts again

private:
    virtual std::optional<QString> kept(const QString &typed) const = 0; // none when it is not allowed
    virtual QString takes() const = 0;                                   // what is allowed: "a whole number from ..."

    SettingsStore &m_store;
};

template <class Kind>
class TypedSetting : public Setting {
public:
    using Value = Kind;

    // The value in force: this process's override, else the file's, else the default.
    Value operator()() const { return parsed(text()).value_or(m_initial); }

    // Checks, writes, and confirms that the file took it. Domain "settings".
    Result<> write(const Value &value) { return writeTyped(printed(value)); }

    // Counts for this process only; nothing is written.
    Result<> override(const Value &value) { return overrideTyped(printed(value)); }

    QString initialText() const override { return printed(m_initial); }

protected:
    TypedSetting(SettingsStore &store, QStringView name, Value initial, QStringView says, QStringView measure = {})
        : Setting(store, name, says, measure), m_initial(std::move(initial)) {}

private:
    virtual std::optional<Value> parsed(const QString &typed) const = 0; // none when it is not allowed
    virtual QString printed(const Value &value) const = 0;
    std::optional<QString> kept(const QString &typed) const override {
        return parsed(typed).transform([this](const Value &value) { return printed(value); });
    }

    const Value m_initial;
};

class BooleanSetting final : public TypedSetting<bool> {
public:
    BooleanSetting(SettingsStore &store, QStringView key, bool initial, QStringView meaning);

private:
    std::optional<bool> parsed(const QString &typed) const override;
    QString printed(const bool &value) const override;
    QString takes() const override;
};

template <class Number>
struct Range {
    Number least;
    Number most;
    QStringView unit = {}; // NOLINT(readability-redundant-member-init): else the compiler wants it named
};

template <class Number>
class NumberSetting final : public TypedSetting<Number> {
public:
    NumberSetting(SettingsStore &store, QStringView key, Number initial, Range<Number> range, QStringView meaning);

private:
    std::optional<Number> parsed(const QString &typed) const override;
    QString printed(const Number &value) const override;
    QString takes() const override;

    const Range<Number> m_range;
};
using IntegerSetting = NumberSetting<int>;
using RealSetting = NumberSetting<double>;

// What a text must be.
struct TextRule {
    bool (*allows)(const QString &text) = nullptr; // absent: every text
    QStringView takes = {}; // NOLINT(readability-redundant-member-init): "an address such as ..."
};

class TextSetting final : public TypedSetting<QString> {
public:
    TextSetting(SettingsStore &store, QStringView key, QStringView initial, QStringView meaning, TextRule rule = {});

private:
    std::optional<QString> parsed(const QString &typed) const override;
    QString printed(const QString &value) const override { return value; }
    QString takes() const override;

    const TextRule m_rule;
};

// What a map must be, said by an example of a key; with no values given, any will do.
struct MapRule {
    QStringView exampleKey;
    std::vector<QStringView> values;
};

using TextMap = QMap<QString, QString>;

// Text to text, empty on a fresh profile. Kept as a JSON object, or as nothing when it is empty.
class MapSetting final : public TypedSetting<TextMap> {
public:
    MapSetting(SettingsStore &store, QStringView key, QStringView meaning, MapRule rule);

private:
    std::optional<TextMap> parsed(const QString &typed) const override;
    QString printed(const TextMap &value) const override;
    std::optional<QString> kept(const QString &typed) const override; // as it was typed
    QString takes() const override;

    const MapRule m_rule;
};

} // namespace ombru
