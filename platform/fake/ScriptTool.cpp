#include "platform/ScriptTool.h"

#include "platform/fake/FakePlatform.h"

namespace ombru {

QString osascriptPath() {
    return FakePlatform::instance().osascript;
}

std::vector<int> osascriptInherits() {
    return {};
}

} // namespace ombru
