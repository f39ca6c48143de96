// `ombru settings`: lists, reads and writes what the owner may change.

#include "app/cli/CommandLine.h"
#include "app/cli/SignInCommand.h"
#include "app/cli/Terminal.h"
#include "cloud/PlainHttp.h"
#include "platform/PeerProcess.h"
#include "settings/Settings.h"

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

QString shown(const QString &text) {
    return text.isEmpty() ? u"(empty)"_s : text;
}

void list(const Settings &settings, Terminal &terminal) {
    for (const Setting *setting : settings.all()) {
        const auto value = setting->text();
        const auto unit = setting->unit.isEmpty() ? QString() : u" "_s + setting->unit;
        auto line = u"%1 = %2"_s.arg(setting->key, -14).arg(fitColumns(shown(value).replace(u'\n', u' '), 60)) + unit;
        if (value != setting->initialText())
            line += u"  (default %1)"_s.arg(shown(setting->initialText()));
        terminal.print(line);
        terminal.print(u"    "_s + setting->meaning, Colour::dim);
    }
    terminal.print(u"Kept in %1"_s.arg(settings.file()), Colour::dim);
}

// What a script does not change.
enum class Guarded { nothing, account, calls, stop };

Guarded guarded(const Settings &settings, const Setting *setting) {
    const bool account =
        setting == &settings.serverURL || setting == &settings.agentURL || setting == &settings.certificateAuthority;
    if (account)
        return Guarded::account;
    if (setting == &settings.stopKey)
        return Guarded::stop;
    const bool calls = setting == &settings.speechURL || setting == &settings.callInterface;
    return calls ? Guarded::calls : Guarded::nothing;
}

QString refusal(Guarded what) {
    switch (what) {
    case Guarded::account:
        return notForScriptsText();
    case Guarded::calls:
        return u"A script cannot change who takes part in your calls; only you can, outside of it."_s;
    case Guarded::stop:
        return u"A script cannot change the keys that stop it; only you can, outside of it."_s;
    case Guarded::nothing:
        break;
    }
    Q_UNREACHABLE();
}

QString warning(Guarded what, const QString &address) {
    return what == Guarded::calls ? speechReadableOnTheWayText(address) : readableOnTheWayText(address);
}

int refuse(const QString &why, int status = 2) {
    qCritical("%s", qUtf8Printable(why));
    return status;
}

} // namespace

int runCommand(SettingsOptions options) {
    Settings settings(Settings::defaultFile());
    settings.onTrouble([](const QString &line) { qWarning("%s", qUtf8Printable(line)); });
    Terminal terminal;
    if (!options.key) {
        list(settings, terminal);
        return terminal.statusWhenSeen(0);
    }
    Setting *setting = settings.find(*options.key);
    if (!setting)
        return refuse(u"There is no setting \"%1\". `ombru settings` lists them."_s.arg(*options.key));
    if (options.reset)
        options.value = setting->initialText();
    if (!options.value) {
        terminal.print(setting->text());
        return terminal.statusWhenSeen(0);
    }
    const auto what = guarded(settings, setting);
    if (what != Guarded::nothing && servesAScript())
        return refuse(refusal(what), 1);
    if (const auto done = setting->writeTyped(*options.value); !done)
        return refuse(done.error().description);
    if (what != Guarded::nothing && isReadableOnTheWay(setting->text()))
        qWarning("%s", qUtf8Printable(warning(what, setting->text())));
    return 0;
}

} // namespace ombru
