#include "base/WholeFile.h"
#include "platform/Workspace.h"
#include "platform/linux/system/Detached.h"
#include "platform/linux/system/ShellWord.h"

#include <QFile>
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

// A window closes with its program, before anybody has read how that ended: this one stays. A failed download counts as
// one, whatever it is piped into. A file, because some terminals take one word only.
Result<QString> writeStaying(const QString &commandFile) {
    const auto path = commandFile + u".window"_s;
    const auto text = u"#!/bin/bash\n/bin/bash -o pipefail %1\necho\nread -rp 'Return closes this window. '\n"_s;
    if (const auto written = writeWholeFile(path, text.arg(forShell(commandFile)).toUtf8()); !written)
        return std::unexpected(written.error());
    QFile file(path);
    if (!file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
        return std::unexpected(Failure{u"file"_s, 1, file.errorString()});
    return path;
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
        const auto staying = writeStaying(commandFile);
        if (!staying)
            return instead(u"The terminal couldn't be started (%1)."_s.arg(staying.error().description));
        const auto started = startDetached(terminal + QStringList{*staying});
        return started ? started
                       : instead(u"The terminal couldn't be started (%1)."_s.arg(started.error().description));
    }
    return instead(u"No terminal is installed."_s);
}

} // namespace ombru
