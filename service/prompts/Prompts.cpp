#include "service/prompts/Prompts.h"

#include <QFile>

namespace ombru {

using namespace Qt::StringLiterals;

QString platformOf(QByteArrayView userAgent) {
    if (userAgent.contains("Darwin/")) // what macOS says of itself where a program sets nothing
        return u"macos"_s;
    const auto system = userAgent.sliced(userAgent.indexOf('(') + 1);
    if (!userAgent.startsWith("ombru/"))
        return u"other"_s;
    if (system.startsWith("Linux"))
        return u"linux"_s;
    return system.startsWith("macOS") ? u"macos"_s : u"other"_s;
}

QString defaultPrompt(const QString &platform) {
    QFile file(u":/prompts/"_s + platform + u".txt"_s);
    return file.open(QFile::ReadOnly) ? QString::fromUtf8(file.readAll()).trimmed() : QString();
}

} // namespace ombru
