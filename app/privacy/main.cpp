// ombru-privacy [ANCHOR]: the window of the privacy settings. A second start brings the first one's window to the
// front, on the page that it names.
#include "app/privacy/OnlyOne.h"
#include "app/privacy/PrivacyWindow.h"
#include "base/Background.h"
#include "base/Process.h"
#include "base/Program.h"
#include "look/Translation.h"
#include "platform/AssistiveAccess.h"
#include "platform/Keeper.h"
#include "platform/WindowAccess.h"

#include <QApplication>
#include <QTranslator>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

constexpr auto NOTES = R"(
Shows what ombru may do and which programs may control which applications, and changes it. With PANE it opens there:
Privacy_ScreenCapture, Privacy_Accessibility or Privacy_Automation. `ombru consent` does the same in a terminal.)";

// The window until it is closed, and what it began until that has ended.
Task<> closed(PrivacyWindow &window, Completion closing) {
    co_await closing;
    co_await window.model().drain();
    QCoreApplication::exit(0);
}

int showWindow(const QString &pane) {
    const Completion closing;
    PrivacyWindow window([closing] { closing.fire(); });
    OnlyOne only(u"privacy"_s, [&window](const QString &word) { window.showAt(word); });
    if (!only.isFirst(pane))
        return 0;
    window.showAt(pane);
    window.model().refresh();
    window.model().watch();
    const auto running = closed(window, closing);
    return QApplication::exec();
}

} // namespace

int main(int argc, char **argv) {
    beginProgram();
    CLI::App grammar("The privacy settings of ombru.", "ombru-privacy");
    std::string pane;
    grammar.add_option("PANE", pane, "the page to begin with"); // of one that it does not have, it begins as ever
    grammar.footer(NOTES);
    try {
        grammar.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return statusWhenPrinted(grammar.exit(error));
    }
    if (const auto display = windowsCanBeShown(); !display) {
        std::fprintf(stderr, "ombru-privacy: %s\n", qUtf8Printable(display.error().description));
        return 1;
    }
    int none = 1; // the arguments are not Qt's
    QApplication application(none, argv);
    describeWindowsOnly();
    QApplication::setApplicationName(u"ombru"_s);
    QApplication::setQuitOnLastWindowClosed(false);
    const auto translator = translateTexts(catalogueDirectory());
    Process::setKeeper(keeperPath());
    const int status = showWindow(QString::fromStdString(pane));
    // A display or a bus that never answers must not keep the program.
    if (!finishBackground(std::chrono::seconds(2)))
        std::_Exit(status);
    return status;
}
