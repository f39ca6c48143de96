// Standard Additions: commands that a script has without telling any application. A command is one row (its name, how
// it is written, what does it) and one function, in the file of its subject; a new file is a Suite more in
// StandardAdditions.cpp.
#pragma once
#include "applescript/run/Invocation.h"
#include "applescript/syntax/Dictionary.h"

namespace ombru::applescript {

struct Addition {
    CommandWords words;
    CommandFunction run;
};

struct Suite {
    std::span<const Addition> commands;
    QStringView properties; // words of what its commands give back, separated by "|"
};

Suite clipboardAdditions();
Suite dialogAdditions();
Suite mathAdditions();
Suite refusedAdditions();
Suite scriptAdditions();
Suite systemAdditions();
Suite textAdditions();

} // namespace ombru::applescript
