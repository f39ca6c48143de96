#include "platform/ScriptTool.h"

#include "platform/linux/consent/ScriptMark.h"

#include <QCoreApplication>

namespace ombru {

using namespace Qt::StringLiterals;

// Linux has none of its own: ours lies beside the application.
QString osascriptPath() {
    return QCoreApplication::applicationDirPath() + u"/osascript"_s;
}

std::vector<int> osascriptInherits() {
    const int mark = scriptMark();
    return mark < 0 ? std::vector<int>() : std::vector{mark};
}

} // namespace ombru
