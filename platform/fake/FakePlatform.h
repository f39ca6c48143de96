// The computer as a test scripts it: what its facilities answer, and what was asked of them. One a process; a test
// calls reset() before it begins. Main thread, but where a field says otherwise.
#pragma once
#include <QString>

namespace ombru {

struct FakePlatform {
    QString osascript; // path of the tool that runs scripts

    static FakePlatform &instance();
    static void reset() { instance() = {}; }
};

} // namespace ombru
