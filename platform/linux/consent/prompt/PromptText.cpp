#include "platform/linux/consent/prompt/PromptText.h"

#include "base/SystemEvents.h"
#include "base/Text.h"
#include "platform/linux/applications/DesktopApplications.h"
#include "platform/linux/consent/ConsentClient.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QStandardPaths>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype LONGEST_NAME = 48;
constexpr qsizetype LONGEST_PLACE = 240; // some lines of small letters

QString clientName(const QString &client, const Applications &installed) {
    if (client == OMBRU_CLIENT)
        return u"ombru"_s;
    if (client.startsWith(u'/'))
        return programName(client, installed);
    const auto *entry = installed.withId(client);
    return entry ? entry->name : client;
}

// A name in a foreign direction keeps to itself.
QString quoted(const QString &name) {
    return u"\u201C\u2068%1\u2069\u201D"_s.arg(name);
}

QString meaningOf(const QString &client, const QString &application, bool everything) {
    if (everything)
        return QCoreApplication::translate("Prompt",
                                           "If you allow it, %1 can press keys, click, and look at the windows "
                                           "of every application, as you would.")
            .arg(client);
    return QCoreApplication::translate(
               "Prompt", "If you allow it, %1 can use %2 as you would: open, read and change what it shows.")
        .arg(client, application);
}

struct Named {
    QString client; // in quotes
    QString application;
};

PromptText textAbout(const QString &client, const QString &application, const Applications &installed,
                     const std::function<void(PromptText &, const Named &, const QString &name)> &say) {
    const auto *entry = isSystemEvents(application) ? nullptr : installed.withId(application);
    const auto name = shownLine(isSystemEvents(application) ? SYSTEM_EVENTS_NAME.toString()
                                : entry                     ? entry->name
                                                            : application,
                                LONGEST_NAME);
    PromptText text;
    text.later = QCoreApplication::translate(
        "Prompt", "You can change this later in ombru’s privacy settings or with “ombru consent”.");
    text.client = shownLine(client, LONGEST_PLACE);
    text.application = shownLine(application, LONGEST_PLACE);
    text.icon = entry ? entry->icon : QString();
    say(text, {quoted(shownLine(clientName(client, installed), LONGEST_NAME)), quoted(name)}, name);
    return text;
}

} // namespace

QString programName(const QString &path, const Applications &installed) {
    const auto real = QFileInfo(path).canonicalFilePath();
    for (const auto &entry : installed.all()) {
        const auto lines = commandLines(entry, {});
        if (!lines || lines->size() != 1 || lines->first().size() != 1 || entry.terminal)
            continue;
        const auto word = lines->first().first();
        const auto program = word.startsWith(u'/') ? word : QStandardPaths::findExecutable(word);
        if (!real.isEmpty() && QFileInfo(program).canonicalFilePath() == real)
            return entry.name;
    }
    return QFileInfo(path).fileName();
}

PromptText promptText(const QString &client, const QString &application, const Applications &installed) {
    return textAbout(client, application, installed, [&](PromptText &text, const Named &named, const QString &name) {
        text.title = QCoreApplication::translate("Prompt", "ombru: allow control of %1?").arg(name);
        text.question =
            QCoreApplication::translate("Prompt", "%1 wants to control %2.").arg(named.client, named.application);
        text.meaning = meaningOf(named.client, named.application, isSystemEvents(application));
        text.no = QCoreApplication::translate("Prompt", "&Don’t Allow");
        text.yes = QCoreApplication::translate("Prompt", "Allow");
    });
}

PromptText forgetText(const QString &client, const QString &application, const Applications &installed) {
    return textAbout(client, application, installed, [&](PromptText &text, const Named &named, const QString &name) {
        text.title = QCoreApplication::translate("Prompt", "ombru: forget what you decided about %1?").arg(name);
        text.question = QCoreApplication::translate("Prompt", "You do not allow %1 to control %2. Forget that?")
                            .arg(named.client, named.application);
        text.meaning =
            QCoreApplication::translate("Prompt", "If you forget it, %1 can ask you again.").arg(named.client);
        text.no = QCoreApplication::translate("Prompt", "&Don’t Forget");
        text.yes = QCoreApplication::translate("Prompt", "Forget");
    });
}

} // namespace ombru
