// The applications this desktop has: its desktop entries, found by identifier or by name, and its defaults for a job.
// Names and identifiers of macOS's own applications stand for the default that does the same job here.
// Not through GIO's GDesktopAppInfo: it takes the places from the environment once a process and has a thread watch
// them, names applications in one language only, and loading it costs every script that names one a millisecond. Plain
// values; one thread. Reads files, so not on the main thread of the application.
#pragma once
#include "platform/linux/applications/DesktopEntry.h"
#include "platform/linux/applications/MimeDefaults.h"

#include <QString>
#include <QStringList>

#include <vector>

namespace ombru {

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

} // namespace ombru
