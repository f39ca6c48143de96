// ombru-dialog: asks what the JSON object on standard input says, and writes the answer as one to standard output. Ends
// with status 1, a line on standard error and no output when the request cannot be read or there is no display.
#include "platform/linux/Display.h"
#include "platform/linux/dialog/DialogWindow.h"
#include "platform/linux/osascript/DialogWire.h"

#include <QApplication>
#include <QFile>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

int complain(const QString &what) {
    std::fprintf(stderr, "ombru-dialog: %s\n", qPrintable(what));
    return 1;
}

QByteArray readStandardInput() {
    QFile input;
    return input.open(stdin, QIODevice::ReadOnly) ? input.readAll() : QByteArray();
}

int write(const ombru::applescript::DialogAnswer &answer) {
    QFile output;
    const QByteArray json = ombru::toJson(answer);
    const bool written =
        output.open(stdout, QIODevice::WriteOnly) && output.write(json) == json.size() && output.flush();
    return written ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    const auto request = ombru::dialogRequest(readStandardInput());
    if (!request)
        return complain(request.error().description);
    // Qt would end the process with a signal.
    if (const auto display = ombru::Display::open(); !display)
        return complain(display.error().description);
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    int status = 1;
    ombru::DialogWindow window(*request, [&](const ombru::applescript::DialogAnswer &answer) {
        status = write(answer);
        QApplication::quit();
    });
    window.showInFront();
    QApplication::exec();
    return status;
}
