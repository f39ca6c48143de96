#include "app/control/ControlPlace.h"

#include "platform/RuntimeDirectory.h"

namespace ombru {

using namespace Qt::StringLiterals;

Result<QString> controlSocket() {
    const auto directory = runtimeDirectory();
    return directory ? Result<QString>(*directory + u"/application"_s) : std::unexpected(directory.error());
}

} // namespace ombru
