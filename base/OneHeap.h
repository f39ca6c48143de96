// Where a program takes its memory from. Plain C++.
#pragma once

namespace ombru {

// All threads from one heap, in place of one for each that is at work: threads that come and go would each leave free
// memory behind in theirs. For a program that mostly rests; before its first thread.
void takeMemoryFromOneHeap();

} // namespace ombru
