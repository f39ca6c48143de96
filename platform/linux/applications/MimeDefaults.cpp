#include "platform/linux/applications/MimeDefaults.h"

#include "platform/linux/applications/KeyFile.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

std::map<QString, QStringList> identifiers(const KeyFile &file, const char *group) {
    std::map<QString, QStringList> result;
    for (const QByteArray &type : file.keys(group))
        for (const QString &name : file.list(group, type))
            result[QString::fromUtf8(type)] += name.endsWith(u".desktop"_s) ? name.chopped(8) : name;
    return result;
}

} // namespace

MimeDefaults::MimeDefaults(const QStringList &config, const QStringList &data, const QStringList &desktops) {
    QStringList directories = config;
    for (const QString &directory : data)
        directories += directory + u"/applications"_s;
    for (const QString &directory : directories) {
        for (const QString &desktop : desktops)
            read(directory + u'/' + desktop + u"-mimeapps.list"_s);
        read(directory + u"/mimeapps.list"_s);
    }
}

void MimeDefaults::read(const QString &path) {
    m_files += path;
    const auto file = KeyFile::at(path);
    m_levels.push_back({identifiers(file, "Default Applications"), identifiers(file, "Added Associations"),
                        identifiers(file, "Removed Associations")});
}

QStringList MimeDefaults::all(Part part, const QString &type) const {
    QStringList result;
    for (const Level &level : m_levels)
        if (const auto found = (level.*part).find(type); found != (level.*part).end())
            result += found->second;
    return result;
}

QStringList MimeDefaults::chosen(const QString &type) const {
    return all(&Level::chosen, type);
}

// An association that a more important level removes is not there, whatever the levels below add.
QStringList MimeDefaults::added(const QString &type) const {
    QStringList result;
    QStringList removed;
    for (const Level &level : m_levels) {
        if (const auto found = level.added.find(type); found != level.added.end())
            for (const QString &id : found->second)
                if (!removed.contains(id))
                    result += id;
        if (const auto found = level.removed.find(type); found != level.removed.end())
            removed += found->second;
    }
    return result;
}

bool MimeDefaults::isRemoved(const QString &type, const QString &id) const {
    return all(&Level::removed, type).contains(id);
}

} // namespace ombru
