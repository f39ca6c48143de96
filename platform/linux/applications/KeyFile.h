// The desktop's configuration files: groups of key=value lines, read as GLib reads them, which QtCore brings along. One
// thread an object.
#pragma once
#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>

struct _GKeyFile;

namespace ombru {

class KeyFile {
public:
    // Lines that are neither group nor key are left out. Of a key that is there twice the last one counts.
    explicit KeyFile(const QByteArray &content);
    static KeyFile at(const QString &path); // empty when it cannot be read

    // Those for one language ("Name[de]") included.
    QList<QByteArray> keys(const char *group) const;

    // \s \n \t \r and \\ replaced, unless there are others. Empty when there is no such group or key.
    QString text(const char *group, const QByteArray &key) const;

    // The members of a list, which end or are parted by ";" ("\;" is a plain one); empty ones left out.
    QStringList list(const char *group, const QByteArray &key) const;

private:
    struct Free {
        void operator()(_GKeyFile *file) const;
    };
    std::unique_ptr<_GKeyFile, Free> m_file;
};

} // namespace ombru
