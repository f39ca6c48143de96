#include "platform/Handset.h"

namespace ombru {

Result<std::unique_ptr<Handset>> openHandset(int, Handset::Listener) {
    return std::unexpected(Failure{QStringLiteral("audio"), 1, QStringLiteral("there is no sound server")});
}

} // namespace ombru
