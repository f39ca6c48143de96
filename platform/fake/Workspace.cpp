#include "platform/Workspace.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

Result<> openInTerminal(const QString &commandFile) {
    FakePlatform &platform = FakePlatform::instance();
    platform.openedInTerminal += commandFile;
    return platform.terminal;
}

} // namespace ombru
