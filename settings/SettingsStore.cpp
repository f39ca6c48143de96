#include "settings/SettingsStore.h"

#include "base/Text.h"
#include "settings/SettingsText.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QSaveFile>

#include <algorithm>
#include <sys/stat.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr int LOCKING_MILLISECONDS = 5'000;
constexpr int SAVING_MILLISECONDS = 2'000; // far longer than an editor takes
constexpr QStringView CHECK = u": check that its directory is yours and the disk is not full";
constexpr QStringView READ_ONLY = u", which its owner made read-only: `chmod u+w` lets ombru change it";
constexpr QStringView EMPTIED = u", which has just become empty: should an editor be saving it, try again in a moment";
constexpr QStringView LINKED =
    u", which has a second name (a hard link) that would keep the old settings: make one of them "
    "a symbolic link to the other";
constexpr qsizetype SHOWN = 60; // characters
constexpr int NEWER = 4;        // the code of that failure
constexpr int VERSION = 1;      // of what a file means
constexpr QStringView VERSION_KEY = u"settingsVersion";
constexpr auto OWNER_ONLY = QFile::ReadOwner | QFile::WriteOwner;

Failure cannotWrite(const QString &file, QStringView why) {
    return {u"settings"_s, 2, u"cannot write %1%2"_s.arg(file).arg(why)};
}

// Some editors empty a file and then write it: what was in it must not be lost to a change of ours in between.
bool wasChangedJustNow(const QFileInfo &file) {
    const auto age = file.lastModified().msecsTo(QDateTime::currentDateTime());
    return file.exists() && qAbs(age) < SAVING_MILLISECONDS;
}

// A new file is put in its place, which neither a mode nor another name would survive.
Result<> mayBeReplaced(const QString &file) {
    struct stat there{};
    if (::stat(QFile::encodeName(file).constData(), &there) != 0)
        return {};
    if ((there.st_mode & S_IWUSR) == 0)
        return std::unexpected(cannotWrite(file, READ_ONLY));
    return there.st_nlink > 1 ? std::unexpected(cannotWrite(file, LINKED)) : Result<>();
}

// A file says which version it is from the second on.
Result<SettingsText> known(SettingsText text) {
    const auto version = text.value(VERSION_KEY);
    if (!version || *version == QString::number(VERSION))
        return text;
    return std::unexpected(Failure{u"settings"_s, NEWER,
                                   u"it is of a newer ombru (%1=%2, where this one knows %3)"_s.arg(VERSION_KEY)
                                       .arg(firstCharacters(*version, SHOWN))
                                       .arg(VERSION)});
}

} // namespace

Result<> SettingsStore::isOfThisVersion() const {
    const auto text = read();
    if (text || text.error().code != NEWER)
        return {};
    return std::unexpected(Failure{u"settings"_s, NEWER, u"%1: %2"_s.arg(m_file, text.error().description)});
}

Setting *SettingsStore::find(QStringView key) const {
    const auto found = std::ranges::find(m_settings, key, &Setting::key);
    return found == m_settings.end() ? nullptr : *found;
}

// A value in the file that its setting does not allow counts as the default.
QString SettingsStore::text(const Setting &setting) const {
    if (const auto found = m_overrides.find(setting.key); found != m_overrides.end())
        return found->second;
    const auto text = read();
    if (!text) {
        report(u"cannot read %1: %2; the defaults count instead"_s.arg(m_file, text.error().description));
        return setting.initialText();
    }
    for (const auto &[number, line] : text->unreadable())
        report(u"line %1 of %2 is not KEY=VALUE and counts as nothing: %3"_s.arg(number).arg(m_file, line));
    const auto typed = text->value(setting.key);
    if (!typed)
        return setting.initialText();
    const auto value = setting.checked(*typed);
    if (value)
        return *value;
    report(u"%1 in %2; its default counts instead"_s.arg(value.error().description, m_file));
    return setting.initialText();
}

void SettingsStore::report(const QString &trouble) const {
    if (m_reported.contains(trouble))
        return;
    m_reported.insert(trouble);
    if (m_report)
        m_report(trouble);
}

Result<SettingsText> SettingsStore::read() const {
    // What is no file, a pipe say, could keep whoever reads it waiting.
    if (const QFileInfo there(m_file); there.exists() && !there.isFile())
        return std::unexpected(Failure{u"settings"_s, 3, u"it is no file"_s});
    QFile file(m_file);
    if (!file.open(QFile::ReadOnly)) {
        if (!QFileInfo::exists(m_file))
            return SettingsText({});
        return std::unexpected(Failure{u"settings"_s, 3, file.errorString()});
    }
    const auto bytes = file.readAll();
    if (file.error() != QFile::NoError)
        return std::unexpected(Failure{u"settings"_s, 3, file.errorString()});
    return known(SettingsText(bytes));
}

// Whole or not at all. A link to a file elsewhere stays one, and a file that is there keeps its mode.
Result<> SettingsStore::save(const SettingsText &text) const {
    if (auto may = mayBeReplaced(m_file); !may)
        return may;
    QSaveFile file(m_file);
    const bool isNew = !QFileInfo::exists(m_file);
    if (!file.open(QFile::WriteOnly) || (isNew && !file.setPermissions(OWNER_ONLY)))
        return std::unexpected(cannotWrite(m_file, CHECK));
    file.write(text.bytes());
    return file.commit() ? Result<>() : std::unexpected(cannotWrite(m_file, CHECK));
}

// What could not be read is not written over.
Result<> SettingsStore::write(const Setting &setting, const QString &text) {
    const auto directory = QFileInfo(m_file).path();
    // One that is there may be everybody's, such as /etc.
    if (!QFileInfo::exists(directory) && QDir().mkpath(directory))
        QFile::setPermissions(directory, OWNER_ONLY | QFile::ExeOwner);
    QLockFile lock(m_file + u".lock"_s);
    if (!lock.tryLock(LOCKING_MILLISECONDS))
        return std::unexpected(cannotWrite(m_file, CHECK));
    auto lines = read();
    if (!lines)
        return std::unexpected(cannotWrite(m_file, u", which cannot be read: "_s + lines.error().description));
    if (lines->value(setting.key) == text)
        return {};
    if (lines->bytes().isEmpty() && wasChangedJustNow(QFileInfo(m_file)))
        return std::unexpected(cannotWrite(m_file, EMPTIED));
    lines->set(setting.key, text);
    return save(*lines);
}

} // namespace ombru
