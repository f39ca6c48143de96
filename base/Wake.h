// A descriptor by which any thread wakes the one that watches it. Belongs to the thread that watches; ring() from any
// thread, as long as it lives.
#pragma once
#include "base/Descriptor.h"

namespace ombru {

class Wake {
public:
    Wake(); // not open when the system has no descriptors left

    bool isOpen() const { return m_descriptor.isOpen(); }
    int descriptor() const { return m_descriptor.number(); } // readable from ring() to clear()

    void ring(); // any thread, any number of times
    void clear();

private:
    Descriptor m_descriptor;
};

} // namespace ombru
