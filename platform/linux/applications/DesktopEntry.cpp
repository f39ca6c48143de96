#include "platform/linux/applications/DesktopEntry.h"

#include "platform/linux/applications/KeyFile.h"

#include <QFileInfo>
#include <QStandardPaths>
#include <QUrl>

#include <glib.h>
#include <span>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr const char *GROUP = "Desktop Entry";

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

// The name in every language.
QStringList translatedNames(const KeyFile &file) {
    QStringList result;
    for (const QByteArray &key : file.keys(GROUP)) {
        const auto name = key.startsWith("Name[") ? file.text(GROUP, key) : QString();
        if (!name.isEmpty())
            result += name;
    }
    return result;
}

// The names that a value may have for the locale "de_AT.UTF-8@euro", the best one first. GLib has them in another
// order: "de@euro" before "de_AT".
QStringList localeNames(const QString &locale) {
    const auto at = locale.indexOf(u'@');
    const auto modifier = at < 0 ? QString() : locale.sliced(at);
    const auto place = locale.left(at).section(u'.', 0, 0);
    const auto language = place.section(u'_', 0, 0);
    if (language.isEmpty() || language == u"C"_s || language == u"POSIX"_s)
        return {};
    return {place + modifier, place, language + modifier, language};
}

// As other launchers part them: single quotes hold words together, too.
Result<QStringList> execWords(const QString &command) {
    int count = 0;
    char **words = nullptr;
    if (!g_shell_parse_argv(command.toUtf8().constData(), &count, &words, nullptr))
        return wrong(u"the Exec line \"%1\" ends within a quotation"_s.arg(command));
    const std::unique_ptr<char *, decltype(&g_strfreev)> owned(words, g_strfreev);
    QStringList result;
    for (const char *word : std::span(words, count))
        result += QString::fromUtf8(word);
    return result;
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
    const KeyFile file(content);
    const auto value = [&](const char *key) { return file.text(GROUP, key); };
    const auto isTrue = [&](const char *key) { return value(key) == u"true"_s; };
    const auto tried = value("TryExec");
    if (value("Type") != u"Application"_s || isTrue("Hidden") || (!tried.isEmpty() && !isThere(tried)))
        return {};
    DesktopEntry entry{.id = id,
                       .path = path,
                       .name = value("Name"),
                       .plainName = value("Name"),
                       .translations = translatedNames(file),
                       .exec = value("Exec"),
                       .icon = value("Icon"),
                       .windowClass = value("StartupWMClass"),
                       .categories = file.list(GROUP, "Categories"),
                       .mimeTypes = file.list(GROUP, "MimeType"),
                       .terminal = isTrue("Terminal"),
                       .noDisplay = isTrue("NoDisplay"),
                       .onlyShowIn = file.list(GROUP, "OnlyShowIn"),
                       .notShowIn = file.list(GROUP, "NotShowIn")};
    if (entry.plainName.isEmpty() || entry.exec.isEmpty())
        return {};
    QStringList names;
    for (const QString &one : locale.split(u':'))
        names += localeNames(one);
    for (const QString &name : names) {
        const auto translated = file.text(GROUP, "Name[" + name.toUtf8() + ']');
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
