// What keeps the application from starting, told so that its owner sees it. Main thread.
#pragma once
#include <QString>

namespace ombru {

// Among the errors; and in a window, until that is closed, unless the errors are on a terminal or there is no graphical
// application: whoever chose ombru in a list of applications sees no errors.
void complainToOwner(const QString &what);

} // namespace ombru
