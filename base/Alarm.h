// A descriptor that becomes readable at a time of the steady clock. It is set to a time rather than after a while, so
// that what happens between the reckoning and the setting delays nothing. One thread.
#pragma once
#include "base/Clock.h"
#include "base/Descriptor.h"

namespace ombru {

class Alarm {
public:
    Alarm(); // not open when the system has no descriptors left

    bool isOpen() const { return m_descriptor.isOpen(); }
    int descriptor() const { return m_descriptor.number(); } // readable from its time on, until the next call of these:

    void set(Clock::Time time); // in place of the time before; one that has passed rings at once
    void unset();
    void clear(); // once it rang

private:
    Descriptor m_descriptor;
};

} // namespace ombru
