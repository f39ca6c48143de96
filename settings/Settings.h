// The owner's settings: one table says what there is, a file keeps what differs from it. Every read looks at the file
// again, so that a change made by another process or by hand counts at once. Main thread.
#pragma once
#include "base/Failure.h"

#include <QSet>
#include <QSettings>
#include <QString>
#include <QVariant>

#include <functional>
#include <map>
#include <vector>

namespace ombru {

struct SettingInfo {
    enum class Type { text, integer, real };
    QString key;
    Type type = Type::text;
    QVariant initial;                              // the value on a fresh profile
    double least = 0;                              // numbers only
    double most = 0;                               // numbers only
    QString unit;                                  // "seconds"; empty for none
    QString meaning;                               // one line for the owner
    QString (*problem)(const QString &) = nullptr; // text only: what is wrong with a value, empty when nothing is
};

// Every setting, in the order in which it is listed.
const std::vector<SettingInfo> &settingsTable();
const SettingInfo *findSetting(const QString &key); // nullptr for an unknown key

// Reads what a person typed as the setting's type; domain "settings". The failure says what would be right.
Result<QVariant> parseSetting(const SettingInfo &setting, const QString &typed);

class Settings {
public:
    explicit Settings(const QString &file);

    static QString defaultFile(); // ombru/ombru.conf in the user's configuration directory
    QString file() const { return m_store.fileName(); }

    QString serverURL() const { return value(u"serverURL").toString(); }
    QString model() const { return value(u"model").toString(); }
    int maxSteps() const { return value(u"maxSteps").toInt(); }
    double scriptTimeout() const { return value(u"scriptTimeout").toDouble(); }
    double settle() const { return value(u"settle").toDouble(); }
    int callPort() const { return value(u"callPort").toInt(); }
    QString cachedPrompt() const { return value(u"cachedPrompt").toString(); }
    QString appAutomation() const { return value(u"appAutomation").toString(); }

    // The value in force: this process's override, else the file's, else the default. A value in the file that the
    // table does not allow counts as the default and is reported once.
    QVariant value(QStringView key) const;

    // Checks, writes, and confirms that the file took it. Domain "settings".
    Result<> write(const QString &key, const QString &typed);

    // Counts for this process only; nothing is written.
    Result<> override(const QString &key, const QString &typed);

    // Receives one line for each bad value found in the file.
    void onBadValue(std::function<void(QString)> report) { m_report = std::move(report); }

private:
    void keepUnreadable();

    mutable QSettings m_store;
    std::map<QString, QVariant> m_overrides;
    mutable QSet<QString> m_reported;
    std::function<void(QString)> m_report;
};

} // namespace ombru
