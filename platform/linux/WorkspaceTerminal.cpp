#include "platform/Workspace.h"
#include "platform/linux/system/Detached.h"
#include "platform/linux/system/ShellWord.h"

#include <QStandardPaths>

namespace ombru {

using namespace Qt::StringLiterals;

namespace {

// The distribution's choice first; then what is known to take a command, with the words it wants before it.
const QList<QStringList> &terminals() {
    static const QList<QStringList> list{{u"x-terminal-emulator"_s, u"-e"_s},
                                         {u"gnome-terminal"_s, u"--"_s},
                                         {u"kgx"_s, u"-e"_s},
                                         {u"konsole"_s, u"-e"_s},
                                         {u"xfce4-terminal"_s, u"-x"_s},
                                         {u"mate-terminal"_s, u"-x"_s},
                                         {u"lxterminal"_s, u"-e"_s},
                                         {u"qterminal"_s, u"-e"_s},
                                         {u"terminator"_s, u"-x"_s},
                                         {u"tilix"_s, u"-e"_s},
                                         {u"kitty"_s},
                                         {u"alacritty"_s, u"-e"_s},
                                         {u"foot"_s},
                                         {u"wezterm"_s, u"start"_s, u"--"_s},
                                         {u"urxvt"_s, u"-e"_s},
                                         {u"xterm"_s, u"-e"_s}};
    return list;
}

} // namespace

Result<> openInTerminal(const QString &commandFile) {
    const auto instead = [&](const QString &reason) {
        const auto advice = u"%1 Type this in a terminal: %2"_s.arg(reason, forShell(commandFile));
        return std::unexpected(Failure{u"workspace"_s, 1, advice});
    };
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        return instead(u"There is no display to open a terminal on."_s);
    for (const auto &terminal : terminals()) {
        if (QStandardPaths::findExecutable(terminal.first()).isEmpty())
            continue;
        const auto started = startDetached(terminal + QStringList{commandFile});
        return started ? started
                       : instead(u"The terminal couldn't be started (%1)."_s.arg(started.error().description));
    }
    return instead(u"No terminal is installed."_s);
}

} // namespace ombru
