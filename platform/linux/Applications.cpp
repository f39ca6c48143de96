#include "platform/linux/Applications.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QLocale>
#include <QSet>
#include <QStandardPaths>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qint64 LARGEST_FILE = 1 << 20; // bytes; no honest entry comes near

// A macOS application and the job it does there.
struct MacApplication {
    QStringList names;
    QString id;
    QString mimeType; // what the job's default is registered for; empty for none
    QString category; // what marks applications that do the job
};

const std::vector<MacApplication> &macApplications() {
    static const std::vector<MacApplication> table{
        {{u"Finder"_s}, u"com.apple.finder"_s, u"inode/directory"_s, u"FileManager"_s},
        {{u"Safari"_s}, u"com.apple.Safari"_s, u"x-scheme-handler/https"_s, u"WebBrowser"_s},
        {{u"Terminal"_s}, u"com.apple.Terminal"_s, {}, u"TerminalEmulator"_s},
        {{u"TextEdit"_s}, u"com.apple.TextEdit"_s, u"text/plain"_s, u"TextEditor"_s},
        {{u"Mail"_s}, u"com.apple.mail"_s, u"x-scheme-handler/mailto"_s, u"Email"_s},
        {{u"Preview"_s}, u"com.apple.Preview"_s, u"application/pdf"_s, u"Viewer"_s},
        {{u"Calculator"_s}, u"com.apple.calculator"_s, {}, u"Calculator"_s},
        {{u"System Settings"_s, u"System Preferences"_s}, u"com.apple.systempreferences"_s, {}, u"DesktopSettings"_s},
        {{u"Activity Monitor"_s}, u"com.apple.ActivityMonitor"_s, {}, u"Monitor"_s},
        {{u"Calendar"_s, u"iCal"_s}, u"com.apple.iCal"_s, u"text/calendar"_s, u"Calendar"_s},
        {{u"Contacts"_s}, u"com.apple.AddressBook"_s, u"text/vcard"_s, u"ContactManagement"_s},
        {{u"Music"_s, u"iTunes"_s}, u"com.apple.Music"_s, u"audio/mpeg"_s, u"Audio"_s},
        {{u"QuickTime Player"_s}, u"com.apple.QuickTimePlayerX"_s, u"video/mp4"_s, u"Video"_s},
        {{u"Photos"_s}, u"com.apple.Photos"_s, u"image/jpeg"_s, u"Photography"_s},
        {{u"Messages"_s}, u"com.apple.MobileSMS"_s, u"x-scheme-handler/sms"_s, u"InstantMessaging"_s},
        {{u"App Store"_s}, u"com.apple.AppStore"_s, {}, u"PackageManager"_s},
    };
    return table;
}

// Applications that exist on both systems under different identifiers.
const std::map<QString, QStringList> &idsElsewhere() {
    static const std::map<QString, QStringList> table{
        {u"com.google.chrome"_s,
         {u"google-chrome"_s, u"com.google.Chrome"_s, u"chromium"_s, u"chromium-browser"_s,
          u"org.chromium.Chromium"_s}},
        {u"org.mozilla.firefox"_s, {u"firefox"_s, u"firefox-esr"_s, u"org.mozilla.firefox"_s}},
        {u"com.microsoft.vscode"_s, {u"code"_s, u"com.visualstudio.code"_s, u"codium"_s}},
    };
    return table;
}

bool same(const QString &left, const QString &right) {
    return left.compare(right, Qt::CaseInsensitive) == 0;
}

QByteArray contentOf(const QString &path) {
    QFile file(path);
    return file.open(QFile::ReadOnly) ? file.read(LARGEST_FILE) : QByteArray();
}

QStringList directories(const char *first, const QString &firstDefault, const char *rest, const QString &restDefault) {
    const auto or_ = [](const char *name, const QString &fallback) {
        const auto value = qEnvironmentVariable(name);
        return value.isEmpty() ? fallback : value;
    };
    return QStringList{or_(first, firstDefault)} + or_(rest, restDefault).split(u':', Qt::SkipEmptyParts);
}

} // namespace

Applications::Places Applications::ownersPlaces() {
    return {directories("XDG_DATA_HOME", QDir::homePath() + u"/.local/share"_s, "XDG_DATA_DIRS",
                        u"/usr/local/share:/usr/share:/var/lib/flatpak/exports/share:/var/lib/snapd/desktop"_s),
            directories("XDG_CONFIG_HOME", QDir::homePath() + u"/.config"_s, "XDG_CONFIG_DIRS", u"/etc/xdg"_s),
            qEnvironmentVariable("XDG_CURRENT_DESKTOP"), QLocale().name()};
}

Applications::Applications(const Places &places) {
    readEntries(places);
    readDefaults(places);
}

void Applications::readEntries(const Places &places) {
    QSet<QString> seen;
    for (const auto &data : places.data) {
        const QDir root(data + u"/applications"_s);
        QStringList files;
        QDirIterator iterator(root.path(), {u"*.desktop"_s}, QDir::Files,
                              QDirIterator::Subdirectories | QDirIterator::FollowSymlinks);
        while (iterator.hasNext())
            files.append(iterator.next());
        files.sort();
        for (const auto &file : files) {
            auto id = root.relativeFilePath(file).replace(u'/', u'-');
            id.chop(8);
            // An entry hides those of the same name in later directories, also by being hidden itself.
            if (seen.contains(id))
                continue;
            seen.insert(id);
            if (auto entry = parseDesktopEntry(id, file, contentOf(file), places.locale))
                m_entries.push_back(std::move(*entry));
        }
    }
}

void Applications::readDefaults(const Places &places) {
    QStringList files;
    const auto add = [&](const QString &directory) {
        for (const auto &desktop : places.desktop.toLower().split(u':', Qt::SkipEmptyParts))
            files.append(directory + u'/' + desktop + u"-mimeapps.list"_s);
        files.append(directory + u"/mimeapps.list"_s);
    };
    for (const auto &config : places.config)
        add(config);
    for (const auto &data : places.data)
        add(data + u"/applications"_s);
    for (const auto &file : files) {
        bool inside = false;
        for (const auto &raw : QString::fromUtf8(contentOf(file)).split(u'\n')) {
            const auto line = raw.trimmed();
            if (line.startsWith(u'['))
                inside = line == u"[Default Applications]"_s;
            const auto equals = line.indexOf(u'=');
            if (!inside || equals <= 0)
                continue;
            for (auto id : line.sliced(equals + 1).split(u';', Qt::SkipEmptyParts)) {
                id = id.trimmed();
                if (id.endsWith(u".desktop"_s))
                    id.chop(8);
                m_defaults[line.first(equals).trimmed()].append(id);
            }
        }
    }
}

const DesktopEntry *Applications::exactly(const QString &id) const {
    const auto found = std::ranges::find_if(m_entries, [&](const auto &entry) { return same(entry.id, id); });
    return found == m_entries.end() ? nullptr : &*found;
}

const DesktopEntry *Applications::withId(const QString &id) const {
    if (const auto *entry = forMacId(id))
        return entry;
    return exactly(id);
}

const DesktopEntry *Applications::forMacId(const QString &id) const {
    for (const auto &application : macApplications()) {
        if (same(application.id, id))
            return defaultFor(application.mimeType, application.category);
    }
    if (const auto found = idsElsewhere().find(id.toLower()); found != idsElsewhere().end()) {
        for (const auto &candidate : found->second) {
            if (const auto *entry = exactly(candidate))
                return entry;
        }
    }
    return nullptr;
}

const DesktopEntry *Applications::forMacName(const QString &name) const {
    for (const auto &application : macApplications()) {
        if (std::ranges::any_of(application.names, [&](const auto &one) { return same(one, name); }))
            return defaultFor(application.mimeType, application.category);
    }
    return nullptr;
}

const DesktopEntry *Applications::named(const QString &name) const {
    const auto plain = name.endsWith(u".app"_s) ? name.chopped(4) : name;
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
    };
    for (const auto rule : RULES) {
        for (const bool hidden : {false, true}) {
            for (const auto &entry : m_entries) {
                if (entry.noDisplay == hidden && rule(entry, plain))
                    return &entry;
            }
        }
    }
    if (same(plain, u"Google Chrome"_s))
        return forMacId(u"com.google.Chrome"_s);
    return nullptr;
}

const DesktopEntry *Applications::ofWindow(const QString &className, const QString &instance) const {
    const auto fits = [&](const QString &text) {
        return !text.isEmpty() && (same(text, className) || same(text, instance));
    };
    for (const auto &entry : m_entries) {
        if (fits(entry.windowClass))
            return &entry;
    }
    for (const bool hidden : {false, true}) {
        for (const auto &entry : m_entries) {
            if (entry.noDisplay == hidden &&
                (fits(entry.id) || fits(entry.id.section(u'.', -1)) || fits(entry.program())))
                return &entry;
        }
    }
    return nullptr;
}

const DesktopEntry *Applications::defaultFor(const QString &mimeType, const QString &category) const {
    if (const auto chosen = m_defaults.find(mimeType); chosen != m_defaults.end()) {
        for (const auto &id : chosen->second) {
            if (const auto *entry = exactly(id))
                return entry;
        }
    }
    // No choice was made: the best fit of those that say they can.
    const auto rank = [&](const DesktopEntry &entry) {
        const bool kind = !category.isEmpty() && entry.categories.contains(category);
        const bool opens = !mimeType.isEmpty() && entry.mimeTypes.contains(mimeType);
        if (!kind && !opens)
            return 0;
        return (kind ? 4 : 0) + (opens ? 2 : 0) + (entry.noDisplay ? 0 : 1);
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
