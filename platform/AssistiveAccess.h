// What this program's windows are to programs that read them aloud or work them for their owner. Main thread.
#pragma once

namespace ombru {

// From now on they see what the windows say and what each part is, but cannot press, select or change anything: another
// program could do that in the owner's place. Once, after there is a graphical application.
void describeWindowsOnly();

} // namespace ombru
