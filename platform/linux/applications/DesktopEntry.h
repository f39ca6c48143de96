// One desktop entry: an application as the freedesktop.org file describes it. Plain values, any thread.
#pragma once
#include "base/Failure.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

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

// GIO puts files for field codes, too, but only while it starts the program itself, as its own child.
// The words that start it on these files (full paths or URLs): one command line, or one a file when it takes one file
// at a time. A Failure (domain "applications") when its Exec line is malformed.
Result<QList<QStringList>> commandLines(const DesktopEntry &entry, const QStringList &files);

} // namespace ombru
