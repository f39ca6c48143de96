// A script's dialogs: each one is a program beside this one, which shows it and ends with the answer. One thread; waits
// for it.
#pragma once
#include "applescript/host/Dialogs.h"

namespace ombru {

class LinuxDialogs : public applescript::Dialogs {
public:
    Result<applescript::DialogAnswer> ask(const applescript::DialogRequest &request) override;
};

} // namespace ombru
