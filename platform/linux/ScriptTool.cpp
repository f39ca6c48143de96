#include "platform/ScriptTool.h"

#include <QCoreApplication>

namespace ombru {

using namespace Qt::StringLiterals;

// Linux has none of its own: ours lies beside the application.
QString osascriptPath() {
    return QCoreApplication::applicationDirPath() + u"/osascript"_s;
}

} // namespace ombru
