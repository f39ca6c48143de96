// The desktop's configuration files: groups of key=value lines. Pure functions, any thread.
#pragma once
#include <QByteArray>
#include <QString>
#include <QStringList>

#include <map>

namespace ombru {

// The values are as they stand, still escaped. Of a key that is there twice the first one counts.
using KeyGroup = std::map<QString, QString>;
using KeyFile = std::map<QString, KeyGroup>;

// Lines that are neither group, key, comment nor empty are left out.
KeyFile parseKeyFile(const QByteArray &bytes);

// The file's groups; none when it cannot be read.
KeyFile readKeyFile(const QString &path);

// Empty when there is no such group or key.
QString keyValue(const KeyFile &file, const QString &group, const QString &key);

// \s \n \t \r and \\ replaced.
QString unescaped(const QString &value);

// The members of a list, which end or are parted by ";" ("\;" is a plain one); empty ones left out.
QStringList listValue(const QString &value);

} // namespace ombru
