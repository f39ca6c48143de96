// Which application opens a type of file, as the lists named mimeapps.list say it: the owner's, the desktop's, the
// system's. Pure but for reading those files; any thread.
#pragma once
#include <QStringList>

#include <map>
#include <vector>

namespace ombru {

class MimeDefaults {
public:
    // Directories of configuration and of data, the most important first; the desktop's names in lower case.
    MimeDefaults(const QStringList &config, const QStringList &data, const QStringList &desktops);

    // Identifiers of applications, the best one first; some may not be installed.
    QStringList chosen(const QString &type) const;
    QStringList added(const QString &type) const;
    bool isRemoved(const QString &type, const QString &id) const;

    // Paths of the lists, whether they exist or not.
    const QStringList &files() const { return m_files; }

private:
    struct Level {
        std::map<QString, QStringList> chosen;
        std::map<QString, QStringList> added;
        std::map<QString, QStringList> removed;
    };
    using Part = std::map<QString, QStringList> Level::*;
    void read(const QString &path);
    QStringList all(Part part, const QString &type) const;

    std::vector<Level> m_levels; // the most important one first
    QStringList m_files;
};

} // namespace ombru
