#include "platform/OwnerShell.h"

#include <QFile>
#include <QFileInfo>

#include <array>
#include <pwd.h>
#include <unistd.h>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

QString loginShell() {
    std::array<char, 16384> buffer;
    passwd entry{};
    passwd *found = nullptr;
    ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
    return found ? QFile::decodeName(found->pw_shell) : QString();
}

} // namespace

OwnerShell ownerShell(const QString &zsh) {
    if (QFileInfo(zsh).isExecutable())
        return {zsh, u"whence -p"_s};
    return {loginShell(), u"command -v"_s};
}

} // namespace ombru
