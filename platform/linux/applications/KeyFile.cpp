#include "platform/linux/applications/KeyFile.h"

#include <QFile>

namespace ombru {

using namespace Qt::StringLiterals;

KeyFile parseKeyFile(const QByteArray &bytes) {
    KeyFile file;
    KeyGroup *group = nullptr;
    for (const QString &whole : QString::fromUtf8(bytes).split(u'\n')) {
        const auto line = whole.trimmed();
        const auto equals = line.indexOf(u'=');
        if (line.startsWith(u'#'))
            continue;
        if (line.startsWith(u'[') && line.endsWith(u']'))
            group = &file[line.sliced(1, line.size() - 2)];
        else if (group && equals > 0)
            group->emplace(line.first(equals).trimmed(), line.sliced(equals + 1).trimmed());
    }
    return file;
}

KeyFile readKeyFile(const QString &path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? parseKeyFile(file.readAll()) : KeyFile();
}

QString keyValue(const KeyFile &file, const QString &group, const QString &key) {
    const auto keys = file.find(group);
    if (keys == file.end())
        return {};
    const auto value = keys->second.find(key);
    return value == keys->second.end() ? QString() : value->second;
}

QString unescaped(const QString &value) {
    QString result;
    for (qsizetype at = 0; at < value.size(); ++at) {
        if (value[at] != u'\\' || at + 1 == value.size()) {
            result += value[at];
            continue;
        }
        const auto escaped = value[++at];
        if (escaped == u's')
            result += u' ';
        else if (escaped == u'n')
            result += u'\n';
        else if (escaped == u't')
            result += u'\t';
        else if (escaped == u'r')
            result += u'\r';
        else if (escaped == u'\\')
            result += u'\\';
        else
            result += u'\\' + QString(escaped);
    }
    return result;
}

QStringList listValue(const QString &value) {
    QStringList result{QString()};
    for (qsizetype at = 0; at < value.size(); ++at) {
        if (value[at] == u';')
            result += QString();
        else if (value[at] == u'\\' && value.sliced(at).startsWith(u"\\;"_s))
            result.last() += value[++at];
        else
            result.last() += value[at];
    }
    result.removeAll(QString());
    return result;
}

} // namespace ombru
