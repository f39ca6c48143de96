#include "osascript/LinuxDialogs.h"

#include "osascript/RunBlocking.h"
#include "osascript/dialog/DialogWire.h"

#include <QCoreApplication>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace applescript;

namespace {

constexpr int NO_USER_INTERACTION = -1713;

Failure noInteraction() {
    return {u"dialog"_s, NO_USER_INTERACTION, u"No user interaction allowed."_s};
}

} // namespace

Result<DialogAnswer> LinuxDialogs::ask(const DialogRequest &request) {
    const auto program = QCoreApplication::applicationDirPath() + u"/ombru-dialog"_s;
    const auto outcome = runBlocking({program}, toJson(request));
    if (!outcome)
        return std::unexpected(Failure{u"dialog"_s, NO_USER_INTERACTION, outcome.error().description});
    if (outcome->status != 0)
        return std::unexpected(noInteraction());
    return dialogAnswer(outcome->out);
}

} // namespace ombru
