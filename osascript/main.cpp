// osascript: runs an AppleScript on this computer. Starting must be quick: no graphics before a script needs them.

#include "applescript/Osascript.h"
#include "base/Program.h"
#include "osascript/LinuxHost.h"

#include <QCoreApplication>
#include <QFile>

int main(int argc, char **argv) {
    ombru::beginProgram();
    const QCoreApplication application(argc, argv);
    QFile in;
    QFile out;
    QFile err;
    const bool opened = in.open(stdin, QFile::ReadOnly) && out.open(stdout, QFile::WriteOnly) &&
                        err.open(stderr, QFile::WriteOnly | QFile::Unbuffered);
    if (!opened)
        return 1;
    ombru::LinuxHost host;
    const int status = ombru::applescript::runOsascript(QCoreApplication::arguments().sliced(1), in, out, err, host);
    out.flush();
    return ombru::statusWhenPrinted(status);
}
