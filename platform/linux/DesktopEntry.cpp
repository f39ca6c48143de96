#include "platform/linux/Applications.h"

#include <QFileInfo>
#include <QStandardPaths>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

using Keys = std::map<QString, QString>;

// The "Desktop Entry" group; the values still have their escapes.
Keys entryKeys(const QByteArray &content) {
    Keys keys;
    bool inside = false;
    for (const auto &raw : QString::fromUtf8(content).split(u'\n')) {
        const auto line = raw.trimmed();
        if (line.startsWith(u'['))
            inside = line == u"[Desktop Entry]"_s;
        const auto equals = line.indexOf(u'=');
        if (!inside || equals <= 0 || line.startsWith(u'#'))
            continue;
        keys.emplace(line.first(equals).trimmed(), line.sliced(equals + 1).trimmed());
    }
    return keys;
}

QString unescaped(const QString &value) {
    QString text;
    for (qsizetype at = 0; at < value.size(); ++at) {
        if (value[at] != u'\\' || at + 1 == value.size()) {
            text += value[at];
            continue;
        }
        switch (value[++at].unicode()) {
        case u's':
            text += u' ';
            break;
        case u'n':
            text += u'\n';
            break;
        case u't':
            text += u'\t';
            break;
        case u'r':
            text += u'\r';
            break;
        default:
            text += value[at];
            break;
        }
    }
    return text;
}

QString value(const Keys &keys, const QString &key) {
    const auto found = keys.find(key);
    return found == keys.end() ? QString() : unescaped(found->second);
}

QString localised(const Keys &keys, const QString &key, const QString &locale) {
    const auto language = locale.section(u'_', 0, 0);
    for (const auto &which : {locale, language}) {
        if (const auto text = value(keys, key + u'[' + which + u']'); !which.isEmpty() && !text.isEmpty())
            return text;
    }
    return value(keys, key);
}

QStringList listOf(const QString &text) {
    return text.split(u';', Qt::SkipEmptyParts);
}

bool canBeTried(const QString &program) {
    if (program.isEmpty())
        return true;
    if (program.startsWith(u'/'))
        return QFileInfo(program).isExecutable();
    return !QStandardPaths::findExecutable(program).isEmpty();
}

Failure malformed(const DesktopEntry &entry) {
    return {u"applications"_s, 1, u"%1 has an Exec line that cannot be read: %2"_s.arg(entry.path, entry.exec)};
}

// The Exec line's words, with their quotes taken off.
std::optional<QStringList> words(const QString &exec) {
    QStringList result;
    QString word;
    bool started = false;
    bool quoted = false;
    for (qsizetype at = 0; at < exec.size(); ++at) {
        const auto unit = exec[at];
        if (unit == u'"') {
            quoted = !quoted;
            started = true;
        } else if (unit == u'\\' && quoted && at + 1 < exec.size()) {
            word += exec[++at];
        } else if (unit == u' ' && !quoted) {
            if (started)
                result.append(word);
            word.clear();
            started = false;
        } else {
            word += unit;
            started = true;
        }
    }
    if (quoted)
        return {};
    if (started)
        result.append(word);
    return result;
}

// One command line; `files` are what its field codes stand for.
QStringList expand(const DesktopEntry &entry, const QStringList &execWords, const QStringList &files, bool &placed) {
    QStringList command;
    for (const auto &word : execWords) {
        if (word == u"%F"_s || word == u"%U"_s || word == u"%f"_s || word == u"%u"_s) {
            command += files;
            placed = true;
        } else if (word == u"%i"_s) {
            if (!entry.icon.isEmpty())
                command += {u"--icon"_s, entry.icon};
        } else {
            QString plain;
            for (qsizetype at = 0; at < word.size(); ++at) {
                if (word[at] != u'%' || at + 1 == word.size()) {
                    plain += word[at];
                    continue;
                }
                const auto code = word[++at];
                if (code == u'%')
                    plain += u'%';
                else if (code == u'c')
                    plain += entry.name;
                else if (code == u'k')
                    plain += entry.path;
                else if ((code == u'f' || code == u'u') && !files.isEmpty()) {
                    plain += files.first();
                    placed = true;
                }
            }
            command.append(plain);
        }
    }
    return command;
}

} // namespace

QString DesktopEntry::program() const {
    const auto parsed = words(exec);
    return parsed ? QFileInfo(parsed->value(0)).fileName() : QString();
}

std::optional<DesktopEntry> parseDesktopEntry(const QString &id, const QString &path, const QByteArray &content,
                                              const QString &locale) {
    const auto keys = entryKeys(content);
    const auto isTrue = [&](const QString &key) { return value(keys, key) == u"true"_s; };
    if (value(keys, u"Type"_s) != u"Application"_s || isTrue(u"Hidden"_s) || !canBeTried(value(keys, u"TryExec"_s)))
        return {};
    DesktopEntry entry{.id = id,
                       .path = path,
                       .name = localised(keys, u"Name"_s, locale),
                       .plainName = value(keys, u"Name"_s),
                       .exec = value(keys, u"Exec"_s),
                       .icon = value(keys, u"Icon"_s),
                       .windowClass = value(keys, u"StartupWMClass"_s),
                       .categories = listOf(value(keys, u"Categories"_s)),
                       .mimeTypes = listOf(value(keys, u"MimeType"_s)),
                       .terminal = isTrue(u"Terminal"_s),
                       .noDisplay = isTrue(u"NoDisplay"_s)};
    if (entry.plainName.isEmpty() || entry.exec.isEmpty())
        return {};
    return entry;
}

Result<QList<QStringList>> commandLines(const DesktopEntry &entry, const QStringList &files) {
    const auto execWords = words(entry.exec);
    if (!execWords || execWords->isEmpty())
        return std::unexpected(malformed(entry));
    const bool oneAtATime = std::ranges::any_of(
        *execWords, [](const auto &word) { return word.contains(u"%f"_s) || word.contains(u"%u"_s); });
    QList<QStringList> commands;
    const auto add = [&](const QStringList &some) {
        bool placed = false;
        auto command = expand(entry, *execWords, some, placed);
        // One that names no place for files gets them at its end, as desktops do.
        if (!placed)
            command += some;
        commands.append(command);
    };
    if (!oneAtATime || files.size() < 2) {
        add(files);
    } else {
        for (const auto &file : files)
            add({file});
    }
    return commands;
}

} // namespace ombru
