// The interactive shell in which the owner's own PATH applies. Any thread.
#pragma once
#include <QString>

namespace ombru {

struct OwnerShell {
    QString program; // full path; empty when the owner has none
    QString where;   // its command that prints the full path of the program named after it
};

// zsh where it is installed, and otherwise the login shell of the account.
OwnerShell ownerShell(const QString &zsh = QStringLiteral("/bin/zsh"));

} // namespace ombru
