// The interactive shell in which the owner's own PATH applies. Any thread.
#pragma once
#include <QString>

namespace ombru {

struct OwnerShell {
    QString program; // full path; empty when the owner has none
    QString where;   // its command that prints the full path of the program named after it
};

OwnerShell ownerShell();

} // namespace ombru
