#include "settings/SettingsStore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// Every value is kept as text: what a person writes into the file and what is written by write() then read the same
// way.
QString stored(const QVariant &value) {
    // The ini format turns an unquoted comma into a list; joined again it is what was written.
    return value.userType() == QMetaType::QStringList ? value.toStringList().join(u", "_s) : value.toString();
}

Failure cannotWrite(const QString &file) {
    return {u"settings"_s, 2,
            u"cannot write %1: check that its directory is yours and the disk is not full"_s.arg(file)};
}

} // namespace

SettingsStore::SettingsStore(const QString &file) : m_store(file, QSettings::IniFormat) {}

Setting *SettingsStore::find(QStringView key) const {
    const auto found = std::ranges::find(m_settings, key, &Setting::key);
    return found == m_settings.end() ? nullptr : *found;
}

// A value in the file that its setting does not allow counts as the default and is reported once.
QString SettingsStore::text(const Setting &setting) const {
    if (const auto found = m_overrides.find(setting.key); found != m_overrides.end())
        return found->second;
    m_store.sync();
    if (!m_store.contains(setting.key))
        return setting.initialText();
    const auto typed = stored(m_store.value(setting.key));
    const auto value = setting.checked(typed);
    if (value)
        return *value;
    const auto finding = setting.key + u'\n' + typed;
    if (!m_reported.contains(finding)) {
        m_reported.insert(finding);
        if (m_report)
            m_report(u"%1 in %2; its default counts instead"_s.arg(value.error().description, file()));
    }
    return setting.initialText();
}

// A file that is no settings file would be lost by the next write.
void SettingsStore::keepUnreadable() {
    m_store.sync();
    if (m_store.status() != QSettings::FormatError || !QFile::exists(file()))
        return;
    const auto kept = file() + u".unreadable"_s;
    QFile::remove(kept);
    if (QFile::rename(file(), kept) && m_report)
        m_report(u"%1 was no settings file; it is kept as %2"_s.arg(file(), kept));
}

Result<> SettingsStore::write(const Setting &setting, const QString &text) {
    QDir().mkpath(QFileInfo(file()).path());
    QFile::setPermissions(QFileInfo(file()).path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    keepUnreadable();
    m_store.setValue(setting.key, text);
    m_store.sync();
    // A trouble with reading an older file stays in the status; that one is out of the way now.
    if (m_store.status() == QSettings::AccessError || !QFile::exists(file()))
        return std::unexpected(cannotWrite(file()));
    QFile::setPermissions(file(), QFile::ReadOwner | QFile::WriteOwner);
    return {};
}

} // namespace ombru
