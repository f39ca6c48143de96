// The file behind the settings: it keeps what differs from the defaults, and whatever else its owner wrote into it.
// Every read looks at it again, so that a change made by another process or by hand counts at once. Main thread.
#pragma once
#include "settings/Setting.h"

#include <QSet>

#include <functional>
#include <map>

namespace ombru {

class SettingsText;

class SettingsStore {
public:
    explicit SettingsStore(QString file) : m_file(std::move(file)) {}

    const QString &file() const { return m_file; }

    // A Failure for the file of a newer ombru, which is neither read nor written here.
    Result<> isOfThisVersion() const;

    // Every setting, in the order in which it is listed.
    const std::vector<Setting *> &all() const { return m_settings; }
    Setting *find(QStringView key) const; // nullptr for an unknown key

    // Receives one line, once, for each bad value and each unreadable line in the file, and for a file that cannot be
    // read at all.
    void onTrouble(std::function<void(QString)> report) { m_report = std::move(report); }

private:
    friend class Setting;
    QString text(const Setting &setting) const;
    Result<> write(const Setting &setting, const QString &text);
    Result<SettingsText> read() const;
    Result<> save(const SettingsText &text) const;
    void report(const QString &trouble) const;

    const QString m_file;
    std::vector<Setting *> m_settings; // members of the class that derives from this one
    std::map<QString, QString> m_overrides;
    mutable QSet<QString> m_reported;
    std::function<void(QString)> m_report;
};

} // namespace ombru
