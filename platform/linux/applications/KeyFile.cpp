#include "platform/linux/applications/KeyFile.h"

#include <QFile>

#include <algorithm>
#include <glib.h>
#include <span>

namespace ombru {

namespace {

using Text = std::unique_ptr<char, decltype(&g_free)>;
using Texts = std::unique_ptr<char *, decltype(&g_strfreev)>;

bool isGroup(QByteArrayView line) {
    return line.startsWith('[') && line.indexOf(']') == line.size() - 1 && line.lastIndexOf('[') == 0;
}

// "Key=" or "Key[de_AT@euro]=".
bool isEntry(QByteArrayView line) {
    const auto key = line.first(std::max<qsizetype>(line.indexOf('='), 0)).trimmed();
    const auto open = key.indexOf('[');
    const auto name = open < 0 ? key : key.first(open);
    const auto locale = open < 0 ? QByteArrayView("C]") : key.sliced(open + 1);
    const auto isLocale = [](char c) {
        return QChar::isLetterOrNumber(uchar(c)) || QByteArrayView("-_.@").contains(c);
    };
    return !name.isEmpty() && !name.startsWith('#') && !name.contains(']') && name != QByteArrayView("Encoding") &&
           locale.endsWith(']') && std::ranges::all_of(locale.chopped(1), isLocale);
}

// GLib gives up at the first line that it does not know; other readers of these files, and their writers, are not so
// strict. What it would stop at is left out, and so are spaces that would become part of a value.
QByteArray readable(const QByteArray &content) {
    const auto whole = QString::fromUtf8(content).remove(QChar::ByteOrderMark).toUtf8();
    QByteArray text;
    bool inGroup = false;
    for (const QByteArray &line : whole.split('\n')) {
        const auto trimmed = QByteArrayView(line).trimmed();
        inGroup |= isGroup(trimmed);
        if (inGroup && (isGroup(trimmed) || isEntry(trimmed)))
            text.append(trimmed).append('\n');
    }
    return text;
}

} // namespace

void KeyFile::Free::operator()(_GKeyFile *file) const {
    g_key_file_free(file);
}

KeyFile::KeyFile(const QByteArray &content) : m_file(g_key_file_new()) {
    const auto text = readable(content);
    g_key_file_load_from_data(m_file.get(), text.constData(), text.size(), G_KEY_FILE_KEEP_TRANSLATIONS, nullptr);
}

KeyFile KeyFile::at(const QString &path) {
    QFile file(path);
    return KeyFile(file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray());
}

QList<QByteArray> KeyFile::keys(const char *group) const {
    gsize count = 0;
    const Texts found(g_key_file_get_keys(m_file.get(), group, &count, nullptr), g_strfreev);
    return {found.get(), found.get() + count};
}

QString KeyFile::text(const char *group, const QByteArray &key) const {
    const Text found(g_key_file_get_string(m_file.get(), group, key.constData(), nullptr), g_free);
    return QString::fromUtf8(found.get());
}

QStringList KeyFile::list(const char *group, const QByteArray &key) const {
    gsize count = 0;
    const Texts found(g_key_file_get_string_list(m_file.get(), group, key.constData(), &count, nullptr), g_strfreev);
    QStringList members;
    for (const char *member : std::span(found.get(), count))
        if (*member != '\0')
            members += QString::fromUtf8(member);
    return members;
}

} // namespace ombru
