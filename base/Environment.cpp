#include "base/Environment.h"

#include <unistd.h>

namespace ombru {

Environment ownEnvironment() {
    Environment result;
    for (char **entry = environ; *entry; ++entry) {
        const QByteArray text(*entry);
        const auto end = text.indexOf('=');
        if (end > 0)
            result.emplace(text.first(end), text.sliced(end + 1));
    }
    return result;
}

} // namespace ombru
