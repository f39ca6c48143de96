// What an application with windows does for those who come through its door. Main thread.
#pragma once

namespace ombru {

class Shell {
public:
    virtual ~Shell() = default;
    // False: it is about to end.
    virtual bool openPanel() = 0;
    virtual bool startedAgain() = 0; // its owner has started it once more
};

} // namespace ombru
