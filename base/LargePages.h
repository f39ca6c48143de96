// Large buffers are worth large pages: most of the time that megabytes of output take goes into mapping small ones. Any
// thread.
#pragma once
#include <QByteArray>

namespace ombru {

// Reserves the capacity, in large pages where the system has them to give.
void reserveInLargePages(QByteArray &bytes, qsizetype capacity);

} // namespace ombru
