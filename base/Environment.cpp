#include "base/Environment.h"

#include "base/KeeperWire.h"
#include "base/Program.h"

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

Environment ownersEnvironment() {
    auto result = ownEnvironment();
    result.erase(keeper::WORD_VARIABLE);
    const auto mark = QByteArray::fromStdString(openedMark());
    const auto end = mark.indexOf('=');
    result.insert_or_assign(mark.first(end), mark.sliced(end + 1));
    return result;
}

} // namespace ombru
