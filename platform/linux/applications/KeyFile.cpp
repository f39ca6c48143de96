#include "platform/linux/applications/KeyFile.h"

#include <QFile>

#include <glib.h>
#include <span>

namespace ombru {
namespace {

using Text = std::unique_ptr<char, decltype(&g_free)>;
using Texts = std::unique_ptr<char *, decltype(&g_strfreev)>;

} // namespace

void KeyFile::Free::operator()(_GKeyFile *file) const {
    g_key_file_free(file);
}

KeyFile::KeyFile(const QByteArray &content) : m_file(g_key_file_new()) {
    g_key_file_load_from_data(m_file.get(), content.constData(), content.size(), G_KEY_FILE_KEEP_TRANSLATIONS, nullptr);
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
