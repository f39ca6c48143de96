// Lets go of what scripts have left pressed. Main thread.
#pragma once
#include "base/Descriptor.h"
#include "base/Task.h"

namespace ombru {

// Releases the keys and buttons that programs hold down, whichever script pressed them; nothing where the system has no
// program for it. Returns once that is done, after some moments also when the display does not answer: then it is done
// as soon as that does.
Task<> releaseHeldInput();

// While it exists, the end of this program by whatever signal is followed by such a release: by a program that waits
// for that, and is waited for in `tasks` itself once this has gone.
class ReleaseOnDeath {
public:
    explicit ReleaseOnDeath(TaskScope &tasks);
    ~ReleaseOnDeath();
    ReleaseOnDeath(const ReleaseOnDeath &) = delete;
    ReleaseOnDeath &operator=(const ReleaseOnDeath &) = delete;

private:
    Descriptor m_farewell; // closes without a byte when this program dies
};

} // namespace ombru
