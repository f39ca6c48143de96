// What the owner's consent costs: the engine's check of every event, and the task loop's look at a script before it
// runs. To be run in a private desktop, whose owner it decides for.
#include "base/Task.h"
#include "bench/Race.h"
#include "osascript/LinuxHost.h"
#include "permissions/AppAutomation.h"
#include "platform/Consent.h"
#include "platform/linux/consent/ConsentClient.h"
#include "tests/support/Record.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QProcess>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

constexpr int COMMANDS = 1000;
constexpr int ROUNDS = 11;
const applescript::Application SYSTEM_EVENTS{u"com.apple.systemevents"_s, u"System Events"_s, {}};
const QStringList TEN{u"System Events"_s, u"TextEdit"_s, u"Terminal"_s, u"Finder"_s, u"Safari"_s,
                      u"Mail"_s,          u"Notes"_s,    u"Calendar"_s, u"Music"_s,  u"Preview"_s};

void runScript(const QString &script) {
    const auto osascript = QCoreApplication::applicationDirPath() + u"/osascript"_s;
    if (QProcess::execute(osascript, {u"-e"_s, script}) != 0)
        bench::fail("osascript failed: " + script.toStdString());
}

// Whoever asks: scripts that this program starts, and the host in this very process.
void allow(const QString &application) {
    for (const QString &client : {QCoreApplication::applicationFilePath(), askingClient().id, ownConsentClient()}) {
        if (const auto decided = test::writeDecision(client, application, true); !decided)
            bench::fail(decided.error().description.toStdString());
    }
}

void checkEvents(LinuxHost &host) {
    for (int event = 0; event < COMMANDS; ++event) {
        if (const auto allowed = host.applications().authorize(SYSTEM_EVENTS); !allowed)
            bench::fail(allowed.error().description.toStdString());
    }
}

void lookAt(const QString &script) {
    const auto refused = QCoro::waitFor(AppAutomation::notAllowed(script));
    if (!refused.empty())
        bench::fail("not allowed: " + refused.front().target.name.toStdString());
}

QString addressing(const QStringList &names) {
    QString script;
    for (const QString &name : names)
        script += u"tell application \"%1\" to get name\n"_s.arg(name);
    return script;
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    if (qEnvironmentVariableIsEmpty("OMBRU_PRIVATE_DESKTOP"))
        bench::fail("this decides for the owner: run it in tests/support/private-desktop");
    for (const QString &name : TEN)
        allow(name);
    LinuxHost host;
    const auto script = u"tell application \"System Events\"\nrepeat %1 times\n"
                        "count processes\nend repeat\nend tell\nreturn"_s.arg(COMMANDS);
    runScript(u"tell application \"TextEdit\" to activate\nreturn"_s);
    bench::race(
        "The check of 1,000 commands, against the script that has them", ROUNDS,
        {{"the checks alone", [&] { checkEvents(host); }}, {"the whole script", [&] { runScript(script); }, 50}});
    const auto ten = addressing(TEN);
    bench::race("Looking at a script that addresses ten applications", ROUNDS,
                {{"notAllowed", [&] { lookAt(ten); }}, {"ten starts of osascript", [] {
                                                            for (qsizetype start = 0; start < TEN.size(); ++start)
                                                                runScript(u"return"_s);
                                                        }}});
}
