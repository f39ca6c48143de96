// The file behind the settings: it keeps what differs from the defaults. Every read looks at it again, so that a change
// made by another process or by hand counts at once. Main thread.
#pragma once
#include "settings/Setting.h"

#include <QSet>
#include <QSettings>

#include <functional>
#include <map>

namespace ombru {

class SettingsStore {
public:
    explicit SettingsStore(const QString &file);

    QString file() const { return m_store.fileName(); }

    // Every setting, in the order in which it is listed.
    const std::vector<Setting *> &all() const { return m_settings; }
    Setting *find(QStringView key) const; // nullptr for an unknown key

    // Receives one line for each bad value found in the file.
    void onBadValue(std::function<void(QString)> report) { m_report = std::move(report); }

private:
    friend class Setting;
    QString text(const Setting &setting) const;
    Result<> write(const Setting &setting, const QString &text);
    void keepUnreadable();

    std::vector<Setting *> m_settings; // members of the class that derives from this one
    mutable QSettings m_store;
    std::map<QString, QString> m_overrides;
    mutable QSet<QString> m_reported;
    std::function<void(QString)> m_report;
};

} // namespace ombru
