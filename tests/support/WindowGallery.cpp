// ombru-window-gallery DIRECTORY: draws the question for consent and the privacy settings, light, dark and in letters
// twice as large, as PNG files there. For docs/pictures, and for whoever changes how they look.
#include "app/privacy/PrivacyWindow.h"
#include "platform/linux/consent/prompt/PromptWindow.h"
#include "tests/support/DarkPalette.h"
#include "tests/support/LargeLetters.h"
#include "tests/support/Record.h"
#include "tests/support/Wait.h"

#include <QApplication>
#include <QDir>
#include <QTemporaryDir>

#include <cstdio>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

const QString EDITOR = u"org.example.Editor"_s;
const QString EVENTS = u"com.apple.systemevents"_s;
const QString PROGRAM = u"/usr/bin/osascript"_s;
const QString OMBRU = u"com.ombru.mac"_s;

void draw(QWidget &window, const QDir &directory, const QString &name) {
    window.show();
    QApplication::processEvents();
    window.grab().save(directory.filePath(name));
}

void drawPrompts(const QDir &directory, const QString &scheme) {
    const Applications installed;
    const auto question = promptText(PROGRAM, EDITOR, installed);
    const auto forgetting = forgetText(OMBRU, EVENTS, installed);
    for (const auto &[name, text] : {std::pair(u"allow"_s, question), std::pair(u"forget"_s, forgetting)}) {
        PromptWindow window(text, [](bool) {});
        draw(window, directory, u"prompt-%1-%2.png"_s.arg(name, scheme));
    }
}

void drawPrivacy(const QDir &directory, const QString &scheme) {
    PrivacyWindow window([] {});
    window.model().refresh();
    test::waitUntil([&] {
        const auto &view = window.model().view();
        return view.looked && !view.permissions.isEmpty();
    });
    for (const auto *page : {"ScreenCapture", "Automation"}) {
        window.showAt(u"Privacy_"_s + QString::fromLatin1(page));
        draw(window, directory, u"privacy-%1-%2.png"_s.arg(QString::fromLatin1(page).toLower(), scheme));
    }
    test::await(window.model().drain());
}

void drawAll(const QDir &directory, const QString &scheme) {
    drawPrompts(directory, scheme);
    drawPrivacy(directory, scheme);
}

// A home with one application in it and some decisions.
bool furnish(const QTemporaryDir &home) {
    QDir().mkpath(home.filePath(u"applications"_s));
    QFile entry(home.filePath(u"applications/%1.desktop"_s.arg(EDITOR)));
    const QByteArray text("[Desktop Entry]\nType=Application\nName=Text Editor\nExec=/bin/true %F\n");
    return entry.open(QFile::WriteOnly) && entry.write(text) == text.size() &&
           test::writeDecision(OMBRU, EVENTS, true) && test::writeDecision(OMBRU, EDITOR, false) &&
           test::writeDecision(PROGRAM, EDITOR, true);
}

// In which the windows have room enough with ordinary letters.
QString littleScreen(const QTemporaryDir &home) {
    QFile file(home.filePath(u"screen.json"_s));
    const QByteArray text(R"({"screens": [{"name": "little", "x": 0, "y": 0, "width": 1024, "height": 768,
                                           "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})");
    return file.open(QFile::WriteOnly) && file.write(text) == text.size() ? file.fileName() : QString();
}

} // namespace

int main(int argc, char **argv) {
    const QTemporaryDir home;
    qputenv("XDG_DATA_HOME", home.path().toUtf8());
    qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + littleScreen(home).toUtf8());
    const QApplication application(argc, argv);
    if (argc != 2 || !QDir().mkpath(QString::fromLocal8Bit(argv[1])) || !furnish(home)) {
        std::fputs("ombru-window-gallery DIRECTORY\n", stderr);
        return 2;
    }
    const QDir directory(QString::fromLocal8Bit(argv[1]));
    drawAll(directory, u"light"_s);
    const auto letters = QApplication::font();
    QApplication::setFont(test::twiceAsLarge(letters));
    drawAll(directory, u"large"_s);
    QApplication::setFont(letters);
    QApplication::setPalette(test::darkPalette());
    drawAll(directory, u"dark"_s);
    return 0;
}
