#include "settings/Settings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// A number is kept as text: what a person writes into the file and what is written by write() then read the same way.
QString stored(const QVariant &value) {
    // The ini format turns an unquoted comma into a list; joined again it is what was written.
    return value.userType() == QMetaType::QStringList ? value.toStringList().join(u", "_s) : value.toString();
}

Failure cannotWrite(const QString &file) {
    return {u"settings"_s, 2,
            u"cannot write %1: check that its directory is yours and the disk is not full"_s.arg(file)};
}

} // namespace

Settings::Settings(const QString &file) : m_store(file, QSettings::IniFormat) {}

QString Settings::defaultFile() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/ombru/ombru.conf"_s;
}

QVariant Settings::value(QStringView key) const {
    const auto name = key.toString();
    const auto *setting = findSetting(name);
    Q_ASSERT(setting);
    if (const auto found = m_overrides.find(name); found != m_overrides.end())
        return found->second;
    m_store.sync();
    if (!m_store.contains(name))
        return setting->initial;
    const auto typed = stored(m_store.value(name));
    auto value = parseSetting(*setting, typed);
    if (value)
        return *value;
    const auto finding = name + u'\n' + typed;
    if (!m_reported.contains(finding)) {
        m_reported.insert(finding);
        if (m_report)
            m_report(u"%1 in %2; its default counts instead"_s.arg(value.error().description, file()));
    }
    return setting->initial;
}

// A file that is no settings file would be lost by the next write.
void Settings::keepUnreadable() {
    m_store.sync();
    if (m_store.status() != QSettings::FormatError || !QFile::exists(file()))
        return;
    const auto kept = file() + u".unreadable"_s;
    QFile::remove(kept);
    if (QFile::rename(file(), kept) && m_report)
        m_report(u"%1 was no settings file; it is kept as %2"_s.arg(file(), kept));
}

Result<> Settings::write(const QString &key, const QString &typed) {
    const auto *setting = findSetting(key);
    if (!setting)
        return std::unexpected(Failure{u"settings"_s, 3, u"there is no setting \"%1\""_s.arg(key)});
    const auto value = parseSetting(*setting, typed);
    if (!value)
        return std::unexpected(value.error());
    QDir().mkpath(QFileInfo(file()).path());
    QFile::setPermissions(QFileInfo(file()).path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    keepUnreadable();
    m_store.setValue(key, value->toString());
    m_store.sync();
    // A trouble with reading an older file stays in the status; that one is out of the way now.
    if (m_store.status() == QSettings::AccessError || !QFile::exists(file()))
        return std::unexpected(cannotWrite(file()));
    QFile::setPermissions(file(), QFile::ReadOwner | QFile::WriteOwner);
    return {};
}

Result<> Settings::override(const QString &key, const QString &typed) {
    const auto *setting = findSetting(key);
    Q_ASSERT(setting);
    auto value = parseSetting(*setting, typed);
    if (!value)
        return std::unexpected(value.error());
    m_overrides[key] = std::move(*value);
    return {};
}

} // namespace ombru
