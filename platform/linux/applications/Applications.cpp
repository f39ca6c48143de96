#include "platform/linux/applications/Applications.h"

#include "platform/linux/applications/MacApplications.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QStandardPaths>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 LARGEST_FILE = 1 << 20; // bytes; no honest entry comes near

bool same(const QString &left, const QString &right) {
    return left.compare(right, Qt::CaseInsensitive) == 0;
}

QByteArray contentOf(const QString &path) {
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.read(LARGEST_FILE) : QByteArray();
}

// Qt leaves relative ones in, which other programs of the desktop ignore.
QStringList absolute(const QStringList &paths) {
    QStringList result;
    for (const QString &path : paths)
        if (QDir::isAbsolutePath(path))
            result += QDir::cleanPath(path);
    result.removeDuplicates();
    return result;
}

// The languages that the owner reads, as other programs of the desktop take them from the environment. Not QLocale,
// which reads that once a process; nor GLib's list, where LANGUAGE outdoes a locale that wants no language.
QString messagesLocale() {
    for (const char *name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const auto locale = qEnvironmentVariable(name);
        if (locale.isEmpty())
            continue;
        const auto languages = qEnvironmentVariable("LANGUAGE");
        const auto plain = locale.section(u'.', 0, 0);
        return languages.isEmpty() || plain == u"C"_s || plain == u"POSIX"_s ? locale : languages;
    }
    return u"C"_s;
}

bool isForMenusOf(const DesktopEntry &entry, const QStringList &desktops) {
    const auto names = [&](const QStringList &list) {
        return std::ranges::any_of(desktops, [&](const QString &desktop) { return list.contains(desktop); });
    };
    return !names(entry.notShowIn) && (entry.onlyShowIn.isEmpty() || names(entry.onlyShowIn));
}

} // namespace

Applications::Places Applications::ownersPlaces() {
    const auto own = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    // What was installed in packages of their own is there, also for a session that was begun before.
    const QStringList packages{own + u"/flatpak/exports/share"_s, u"/var/lib/flatpak/exports/share"_s,
                               u"/var/lib/snapd/desktop"_s};
    return {absolute(QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation) + packages),
            absolute(QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation)),
            qEnvironmentVariable("XDG_CURRENT_DESKTOP"), messagesLocale()};
}

Applications::Applications(const Places &places)
    : m_defaults(places.config, places.data, places.desktop.toLower().split(u':', Qt::SkipEmptyParts)) {
    m_sources = m_defaults.files();
    readEntries(places);
}

void Applications::readEntries(const Places &places) {
    const auto desktops = places.desktop.split(u':', Qt::SkipEmptyParts);
    QSet<QString> seen;
    for (const auto &data : places.data) {
        const QDir root(data + u"/applications"_s);
        m_sources += root.path();
        QStringList files;
        // By their names here: a filter would be a regular expression, which takes half a megabyte.
        QDirIterator iterator(root.path(), QDir::Files | QDir::AllDirs | QDir::NoDotAndDotDot,
                              QDirIterator::Subdirectories | QDirIterator::FollowSymlinks);
        while (iterator.hasNext()) {
            const auto path = iterator.next();
            const bool isFile = iterator.fileInfo().isFile();
            if (isFile && !path.endsWith(u".desktop"_s, Qt::CaseInsensitive))
                continue;
            m_sources += path;
            if (isFile)
                files.append(path);
        }
        files.sort();
        for (const auto &file : files) {
            auto id = root.relativeFilePath(file).replace(u'/', u'-');
            id.chop(8);
            // An entry hides those of the same name in later directories, also by being hidden itself.
            if (seen.contains(id))
                continue;
            seen.insert(id);
            if (auto entry = parseDesktopEntry(id, file, contentOf(file), places.locale)) {
                entry->noDisplay |= !isForMenusOf(*entry, desktops);
                m_entries.push_back(std::move(*entry));
            }
        }
    }
}

const DesktopEntry *Applications::exactly(const QString &id) const {
    const auto found = std::ranges::find_if(m_entries, [&](const auto &entry) { return same(entry.id, id); });
    return found == m_entries.end() ? nullptr : &*found;
}

const DesktopEntry *Applications::firstOf(const QStringList &ids) const {
    for (const auto &id : ids) {
        if (const auto *entry = exactly(id))
            return entry;
    }
    return nullptr;
}

const DesktopEntry *Applications::withId(const QString &id) const {
    if (const auto *itself = exactly(id))
        return itself;
    for (const auto &application : macApplications()) {
        if (same(application.id, id))
            return forJob(application);
    }
    const auto ending = u".desktop"_s;
    return id.endsWith(ending) ? exactly(id.chopped(ending.size())) : nullptr;
}

const DesktopEntry *Applications::forJob(const MacApplication &application) const {
    if (const auto *itself = firstOf(application.preferred + QStringList{application.id}))
        return itself;
    return defaultFor(application.type, application.category);
}

const DesktopEntry *Applications::forMacName(const QString &name) const {
    for (const auto &application : macApplications()) {
        if (!application.names.contains(name, Qt::CaseInsensitive))
            continue;
        if (const auto *entry = forJob(application))
            return entry;
    }
    return nullptr;
}

const DesktopEntry *Applications::named(const QString &name) const {
    // "/Applications/Safari.app" is a name, too.
    auto plain = name.startsWith(u'/') ? QFileInfo(name).fileName() : name;
    if (plain.endsWith(u".app"_s, Qt::CaseInsensitive))
        plain.chop(4);
    if (plain.isEmpty())
        return nullptr;
    if (const auto *entry = forMacName(plain))
        return entry;
    // The most telling property first; what menus show before what they hide.
    using Matches = bool (*)(const DesktopEntry &, const QString &);
    constexpr Matches RULES[]{
        [](const DesktopEntry &entry, const QString &wanted) { return same(entry.name, wanted); },
        [](const DesktopEntry &entry, const QString &wanted) { return same(entry.plainName, wanted); },
        [](const DesktopEntry &entry, const QString &wanted) { return same(entry.id, wanted); },
        [](const DesktopEntry &entry, const QString &wanted) { return same(entry.windowClass, wanted); },
        [](const DesktopEntry &entry, const QString &wanted) { return same(entry.id.section(u'.', -1), wanted); },
        [](const DesktopEntry &entry, const QString &wanted) { return same(entry.program(), wanted); },
        [](const DesktopEntry &entry, const QString &wanted) {
            return entry.translations.contains(wanted, Qt::CaseInsensitive);
        },
    };
    for (const auto rule : RULES) {
        for (const bool hidden : {false, true}) {
            for (const auto &entry : m_entries) {
                if (entry.noDisplay == hidden && rule(entry, plain))
                    return &entry;
            }
        }
    }
    return nullptr;
}

const DesktopEntry *Applications::ofWindow(const QString &className, const QString &instance) const {
    // Several entries may start one program, its settings for example; the one that is named after it comes first.
    using Property = QString (*)(const DesktopEntry &);
    constexpr Property PROPERTIES[]{[](const DesktopEntry &entry) { return entry.windowClass; },
                                    [](const DesktopEntry &entry) { return entry.id; },
                                    [](const DesktopEntry &entry) { return entry.id.section(u'.', -1); },
                                    [](const DesktopEntry &entry) { return entry.program(); }};
    for (const auto property : PROPERTIES) {
        for (const bool hidden : {false, true}) {
            for (const auto &entry : m_entries) {
                const auto text = property(entry);
                if (entry.noDisplay == hidden && !text.isEmpty() && (same(text, className) || same(text, instance)))
                    return &entry;
            }
        }
    }
    return nullptr;
}

const DesktopEntry *Applications::defaultFor(const QString &mimeType, const QString &category) const {
    if (const auto *entry = firstOf(m_defaults.chosen(mimeType)))
        return entry;
    const auto added = m_defaults.added(mimeType);
    // No choice was made: the best fit of those that say they can.
    const auto rank = [&](const DesktopEntry &entry) {
        const bool kind = !category.isEmpty() && entry.categories.contains(category);
        const bool opens = added.contains(entry.id) ||
                           (entry.mimeTypes.contains(mimeType) && !m_defaults.isRemoved(mimeType, entry.id));
        if (!kind && !opens)
            return 0;
        return (entry.terminal ? 1 : 16) + (kind ? 8 : 0) + (opens ? 4 : 0) + (entry.noDisplay ? 0 : 2);
    };
    const DesktopEntry *best = nullptr;
    for (const auto &entry : m_entries) {
        if (rank(entry) > (best ? rank(*best) : 0))
            best = &entry;
    }
    return best;
}

const DesktopEntry *Applications::terminal() const {
    return defaultFor({}, u"TerminalEmulator"_s);
}

} // namespace ombru
