// The applications this desktop has: its desktop entries, found by identifier or by name, and its defaults for a job.
// Names and identifiers of macOS's own applications stand for the default that does the same job here.
// Plain values; one thread. Reads files, so not on the main thread of the application.
#pragma once
#include "base/Failure.h"
#include "platform/linux/MimeDefaults.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

namespace ombru {

struct DesktopEntry {
    QString id;   // file name without ".desktop"; directories become "dir-"
    QString path; // of the file
    QString name; // in the owner's language
    QString plainName;
    QStringList translations; // of its name, into every language
    QString exec;             // as the file has it, with field codes
    QString icon;
    QString windowClass; // StartupWMClass
    QStringList categories;
    QStringList mimeTypes;
    bool terminal = false;  // needs one to run in
    bool noDisplay = false; // not meant for menus
    QStringList onlyShowIn; // the desktops whose menus show it; empty: all of them
    QStringList notShowIn;

    QStringList words() const; // of its command line, without variables and field codes
    QString program() const;   // what it starts, without its directory
};

// None when the file is no application that could be started, or says that it is hidden. `locale` as in "de_DE", or
// several, the best one first: "de_AT:de:en".
std::optional<DesktopEntry> parseDesktopEntry(const QString &id, const QString &path, const QByteArray &content,
                                              const QString &locale);

// The words that start it on these files (full paths or URLs): one command line, or one a file when it takes one file
// at a time. A Failure (domain "applications") when its Exec line is malformed.
Result<QList<QStringList>> commandLines(const DesktopEntry &entry, const QStringList &files);

class Applications {
public:
    struct Places {
        QStringList data;   // data directories, the most important first
        QStringList config; // configuration directories
        QString desktop;    // XDG_CURRENT_DESKTOP
        QString locale;

        bool operator==(const Places &) const = default;
    };
    static Places ownersPlaces(); // from the environment

    explicit Applications(const Places &places = ownersPlaces());

    // nullptr when there is none. The pointers live as long as this object. An identifier is the desktop's own (the
    // file's name, with or without ".desktop") or macOS's, in any case. Of several that go by a name, the one that
    // menus show.
    const DesktopEntry *withId(const QString &id) const;
    const DesktopEntry *named(const QString &name) const;
    const DesktopEntry *ofWindow(const QString &className, const QString &instance) const;
    const DesktopEntry *defaultFor(const QString &mimeType, const QString &category = {}) const;
    const DesktopEntry *terminal() const;

    const std::vector<DesktopEntry> &all() const { return m_entries; }

    // The directories and files that decided, and those that would have if they were there.
    const QStringList &sources() const { return m_sources; }

private:
    void readEntries(const Places &places);
    const DesktopEntry *forMacName(const QString &name) const;
    const DesktopEntry *exactly(const QString &id) const;
    const DesktopEntry *firstOf(const QStringList &ids) const;
    const DesktopEntry *chosen(const QString &mimeType) const;
    const DesktopEntry *forJob(const struct MacApplication &application) const;

    std::vector<DesktopEntry> m_entries;
    MimeDefaults m_defaults;
    QStringList m_sources;
};

// Those that are installed now: read again when something was installed, changed or removed. Any thread.
std::shared_ptr<const Applications> installedApplications();

} // namespace ombru
