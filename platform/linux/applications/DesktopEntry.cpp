#include "platform/linux/applications/DesktopEntry.h"

#include "platform/linux/applications/KeyFile.h"

#include <QFileInfo>
#include <QStandardPaths>
#include <QUrl>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

const QString GROUP = u"Desktop Entry"_s;

std::unexpected<Failure> wrong(const QString &what) {
    return std::unexpected(Failure{u"applications"_s, 1, what});
}

bool isUrl(const QString &target) {
    return !target.startsWith(u'/') && !QUrl(target).scheme().isEmpty();
}

QString asUrl(const QString &target) {
    return isUrl(target) ? target : QString::fromLatin1(QUrl::fromLocalFile(target).toEncoded());
}

QString asPath(const QString &target) {
    const QUrl url(target);
    return isUrl(target) && url.isLocalFile() ? url.toLocalFile() : target;
}

// Puts the values of the field codes into the words of one command line.
class Expansion {
public:
    Expansion(const DesktopEntry &entry, QStringList targets) : m_entry(entry), m_targets(std::move(targets)) {}

    Result<QStringList> line(const QStringList &words) {
        QStringList result;
        for (const QString &word : words) {
            const auto added = addTo(result, word);
            if (!added)
                return std::unexpected(added.error());
        }
        // Without a place for them they go to the end, as other launchers do it.
        if (!m_placed)
            result += paths();
        return result;
    }

private:
    Result<> addTo(QStringList &line, const QString &word) {
        if (word == u"%F"_s || word == u"%U"_s) {
            m_placed = true;
            line += word == u"%F"_s ? paths() : urls();
            return {};
        }
        if (word == u"%i"_s) {
            if (!m_entry.icon.isEmpty())
                line += {u"--icon"_s, m_entry.icon};
            return {};
        }
        const auto expanded = inWord(word);
        if (!expanded)
            return std::unexpected(expanded.error());
        // A code that stands for nothing leaves no empty argument behind.
        if (!expanded->isEmpty() || word.isEmpty())
            line += *expanded;
        return {};
    }

    Result<QString> inWord(const QString &word) {
        QString result;
        for (qsizetype at = 0; at < word.size(); ++at) {
            if (word[at] != u'%') {
                result += word[at];
                continue;
            }
            const auto value = ++at < word.size() ? valueOf(word[at]) : std::nullopt;
            if (!value)
                return wrong(m_entry.path + u": the Exec line has the unknown code \"%"_s +
                             word.sliced(at, qMin<qsizetype>(1, word.size() - at)) + u'"');
            result += *value;
        }
        return result;
    }

    std::optional<QString> valueOf(QChar code) {
        switch (code.unicode()) {
        case u'%':
            return u"%"_s;
        case u'f':
            m_placed = true;
            return paths().value(0);
        case u'u':
            m_placed = true;
            return urls().value(0);
        case u'c':
            return m_entry.name;
        case u'k':
            return m_entry.path;
        default:
            // Deprecated ones stand for nothing.
            return u"dDnNvm"_s.contains(code) ? std::optional(QString()) : std::nullopt;
        }
    }

    QStringList paths() const {
        QStringList result;
        std::ranges::transform(m_targets, std::back_inserter(result), asPath);
        return result;
    }
    QStringList urls() const {
        QStringList result;
        std::ranges::transform(m_targets, std::back_inserter(result), asUrl);
        return result;
    }

    const DesktopEntry &m_entry;
    QStringList m_targets;
    bool m_placed = false;
};

bool takesOneTarget(const QStringList &words) {
    const auto has = [&](const QString &code) {
        return std::ranges::any_of(words, [&](QString word) { return word.remove(u"%%"_s).contains(code); });
    };
    return (has(u"%f"_s) || has(u"%u"_s)) && !has(u"%F"_s) && !has(u"%U"_s);
}

bool isThere(const QString &program) {
    return program.contains(u'/') ? QFileInfo(program).isExecutable()
                                  : !QStandardPaths::findExecutable(program).isEmpty();
}

// What is written behind a key for each of its translations.
QStringList translationsOf(const KeyFile &file, const QString &key) {
    QStringList result;
    const auto keys = file.find(GROUP);
    if (keys == file.end())
        return result;
    for (const auto &[name, value] : keys->second)
        if (name.startsWith(key + u'[') && !value.isEmpty())
            result += unescaped(value);
    return result;
}

// The names that a value may have for the locale "de_AT.UTF-8@euro", the best one first.
QStringList localeNames(const QString &locale) {
    const auto at = locale.indexOf(u'@');
    const auto modifier = at < 0 ? QString() : locale.sliced(at);
    const auto place = locale.left(at).section(u'.', 0, 0);
    const auto language = place.section(u'_', 0, 0);
    if (language.isEmpty() || language == u"C"_s || language == u"POSIX"_s)
        return {};
    return {place + modifier, place, language + modifier, language};
}

Result<QStringList> execWords(const QString &command) {
    QStringList words;
    bool within = false; // a word has begun
    bool quoted = false;
    for (qsizetype at = 0; at < command.size(); ++at) {
        const auto c = command[at];
        if (!quoted && c.isSpace()) {
            within = false;
            continue;
        }
        if (!within)
            words += QString();
        within = true;
        if (c == u'"')
            quoted = !quoted;
        else if (c == u'\\' && at + 1 < command.size() && (!quoted || u"\"`$\\"_s.contains(command[at + 1])))
            words.last() += command[++at];
        else
            words.last() += c;
    }
    if (quoted)
        return wrong(u"a quotation in the Exec line \"%1\" does not end"_s.arg(command));
    return words;
}

} // namespace

QStringList DesktopEntry::words() const {
    auto all = execWords(exec).value_or(QStringList());
    // "env NAME=value program" starts the program.
    const auto isBefore = [](const QString &word) { return word == u"env"_s || word.contains(u'='); };
    all.erase(all.begin(), std::ranges::find_if_not(all, isBefore));
    all.removeIf([](const QString &word) { return word.size() == 2 && word.startsWith(u'%'); });
    return all;
}

QString DesktopEntry::program() const {
    return QFileInfo(words().value(0)).fileName();
}

std::optional<DesktopEntry> parseDesktopEntry(const QString &id, const QString &path, const QByteArray &content,
                                              const QString &locale) {
    const auto file = parseKeyFile(content);
    const auto value = [&](const QString &key) { return unescaped(keyValue(file, GROUP, key)); };
    const auto list = [&](const QString &key) { return listValue(keyValue(file, GROUP, key)); };
    const auto isTrue = [&](const QString &key) { return value(key) == u"true"_s; };
    const auto tried = value(u"TryExec"_s);
    if (value(u"Type"_s) != u"Application"_s || isTrue(u"Hidden"_s) || (!tried.isEmpty() && !isThere(tried)))
        return {};
    DesktopEntry entry{.id = id,
                       .path = path,
                       .name = value(u"Name"_s),
                       .plainName = value(u"Name"_s),
                       .translations = translationsOf(file, u"Name"_s),
                       .exec = value(u"Exec"_s),
                       .icon = value(u"Icon"_s),
                       .windowClass = value(u"StartupWMClass"_s),
                       .categories = list(u"Categories"_s),
                       .mimeTypes = list(u"MimeType"_s),
                       .terminal = isTrue(u"Terminal"_s),
                       .noDisplay = isTrue(u"NoDisplay"_s),
                       .onlyShowIn = list(u"OnlyShowIn"_s),
                       .notShowIn = list(u"NotShowIn"_s)};
    if (entry.plainName.isEmpty() || entry.exec.isEmpty())
        return {};
    QStringList names;
    for (const QString &one : locale.split(u':'))
        names += localeNames(one);
    for (const QString &name : names) {
        const auto translated = value(u"Name[%1]"_s.arg(name));
        if (!translated.isEmpty()) {
            entry.name = translated;
            break;
        }
    }
    return entry;
}

Result<QList<QStringList>> commandLines(const DesktopEntry &entry, const QStringList &files) {
    const auto words = execWords(entry.exec);
    if (!words)
        return std::unexpected(words.error());
    QList<QStringList> groups{files};
    if (files.size() > 1 && takesOneTarget(*words)) {
        groups.clear();
        for (const QString &target : files)
            groups.append({target});
    }
    QList<QStringList> lines;
    for (const QStringList &group : groups) {
        const auto line = Expansion(entry, group).line(*words);
        if (!line)
            return std::unexpected(line.error());
        if (line->value(0).isEmpty())
            return wrong(entry.path + u": the Exec line names no program"_s);
        lines.append(*line);
    }
    return lines;
}

} // namespace ombru
