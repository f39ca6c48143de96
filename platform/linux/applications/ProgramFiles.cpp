#include "platform/linux/applications/ProgramFiles.h"

#include <QFileInfo>
#include <QMimeDatabase>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// With all that are a kind of one of these, which scripts are of application/x-executable.
const QStringList &programTypes() {
    static const QStringList types{u"application/x-desktop"_s,
                                   u"application/x-executable"_s,
                                   u"application/x-sharedlib"_s,
                                   u"application/x-pie-executable"_s,
                                   u"application/vnd.microsoft.portable-executable"_s,
                                   u"application/x-ms-dos-executable"_s,
                                   u"application/x-msdownload"_s,
                                   u"application/x-dosexec"_s,
                                   u"application/x-msi"_s,
                                   u"application/x-bat"_s,
                                   u"application/x-ms-shortcut"_s,
                                   u"application/x-mswinurl"_s,
                                   u"application/x-java"_s,
                                   u"application/x-java-archive"_s,
                                   u"application/java-archive"_s,
                                   u"application/x-java-jnlp-file"_s,
                                   u"application/x-php"_s,
                                   u"text/x-tcl"_s,
                                   u"text/vbscript"_s};
    return types;
}

bool isProgram(const QMimeType &type) {
    return std::ranges::any_of(programTypes(), [&](const QString &program) { return type.inherits(program); });
}

} // namespace

bool isProgramFile(const QString &path) {
    const QFileInfo target(QFileInfo(path).canonicalFilePath());
    if (!target.isFile())
        return false;
    const QMimeDatabase types;
    return isProgram(types.mimeTypeForFile(path, QMimeDatabase::MatchExtension)) ||
           isProgram(types.mimeTypeForFile(target, QMimeDatabase::MatchExtension)) ||
           isProgram(types.mimeTypeForFile(target, QMimeDatabase::MatchContent));
}

} // namespace ombru
