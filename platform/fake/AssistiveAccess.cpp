#include "platform/AssistiveAccess.h"

namespace ombru {

void describeWindowsOnly() {}

} // namespace ombru
