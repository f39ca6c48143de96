// ombru-dialog: asks what the JSON object on standard input says, and writes the answer as one to standard output.
// Without an answer it writes a line to standard error, and ends with status 1 when nobody could see the question, 2
// when it is not a request.
#include "base/Program.h"
#include "osascript/dialog/DialogWindow.h"
#include "osascript/dialog/DialogWire.h"
#include "platform/WindowAccess.h"
#include "platform/linux/windows/ShowInFront.h"

#include <QApplication>
#include <QFile>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr int NOBODY_SEES_IT = 1;
constexpr int NO_REQUEST = 2;

int complain(int status, const QString &what) {
    std::fprintf(stderr, "ombru-dialog: %s\n", qPrintable(what));
    return status;
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
    ombru::beginProgram();
    const auto request = ombru::dialogRequest(readStandardInput());
    if (!request)
        return complain(NO_REQUEST, request.error().description);
    if (const auto display = ombru::windowsCanBeShown(); !display)
        return complain(NOBODY_SEES_IT, display.error().description);
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    int status = 1;
    ombru::DialogWindow window(*request, [&](const ombru::applescript::DialogAnswer &answer) {
        status = write(answer);
        QApplication::quit();
    });
    ombru::showInFront(window);
    QApplication::exec();
    return status;
}
