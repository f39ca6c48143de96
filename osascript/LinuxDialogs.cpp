#include "osascript/LinuxDialogs.h"

#include "base/Text.h"
#include "osascript/RunBlocking.h"
#include "osascript/dialog/DialogWire.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace ombru {

using namespace Qt::StringLiterals;
using namespace applescript;

namespace {

constexpr int NO_USER_INTERACTION = -1713;
constexpr qsizetype LONGEST_NAME = 48;
constexpr qsizetype LONGEST_TITLE = 120;

Failure noInteraction() {
    return {u"dialog"_s, NO_USER_INTERACTION, u"No user interaction allowed."_s};
}

// By its file's name, but for one that takes ours: that is shown with the place that tells them apart.
QString programOf(const QString &client) {
    if (client == OMBRU_CLIENT)
        return u"ombru"_s;
    const auto name = QFileInfo(client).fileName();
    return name.startsWith(u"ombru"_s, Qt::CaseInsensitive) ? client : name;
}

} // namespace

QString dialogTitle(const QString &client, const QString &title) {
    const auto whose = u"Script of "_s + shownLine(programOf(client), LONGEST_NAME);
    return title.isEmpty() ? whose : whose + u": "_s + shownLine(title.simplified(), LONGEST_TITLE);
}

Result<DialogAnswer> LinuxDialogs::ask(const DialogRequest &request) {
    const auto program = QCoreApplication::applicationDirPath() + u"/ombru-dialog"_s;
    auto shown = request;
    shown.title = dialogTitle(m_consent->client(), request.title);
    const auto outcome = runBlocking({program}, toJson(shown));
    if (!outcome)
        return std::unexpected(Failure{u"dialog"_s, NO_USER_INTERACTION, outcome.error().description});
    if (outcome->status != 0)
        return std::unexpected(noInteraction());
    return dialogAnswer(outcome->out);
}

} // namespace ombru
