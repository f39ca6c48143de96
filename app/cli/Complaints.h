// What goes to the standard error: like the output it waits for its reader, but keeps nobody from stopping the program.
#pragma once

namespace ombru {

// From here on for all that Qt's messages say (qCritical and its like), from any thread. Once, in main().
void complainPatiently();

} // namespace ombru
