// The application in the menu bar, worked as its owner would. For tests in a private desktop.
#pragma once
#include "tests/app/ResidentJourney.h"
#include "tests/support/DesktopModule.h"

#include <QProcess>
#include <QRect>

namespace ombru::test {

inline const QString HINT = QStringLiteral("ombru is running in your menu bar");
inline const QString PANEL = QStringLiteral("ombru: panel");

class MenuBarJourney : public ResidentJourney {
protected:
    MenuBarJourney() { signInBefore(); }
    ~MenuBarJourney() override {
        if (m_menuBar && m_menuBar->isRunning()) {
            killMenuBars(SIGKILL);
            await(m_menuBar->ended());
        }
    }

    std::shared_ptr<Process> startMenuBar(const QStringList &arguments = {}) {
        return startProgram(QStringLiteral("ombru-menubar"), arguments);
    }
    void launch(const QStringList &arguments = {}) { m_menuBar = startMenuBar(arguments); }
    // It was started before, so that it shows no hint.
    void launchAgain(const QStringList &arguments = {}) {
        m_scratch.write(QStringLiteral(".config/ombru/ombru.conf"),
                        "serverURL=" + m_service.base().toUtf8() +
                            "\nshownMenuBarHint=true\nloginItemDefaulted=true\n" + m_settings);
        launch(arguments);
    }
    // One of the web page that never ends; the number of its claude.
    qint64 beginTask() {
        hang();
        launchAgain();
        return claudeOfATask();
    }
    void killMenuBars(int signal) const {
        for (const qint64 pid : menuBars())
            ::kill(static_cast<pid_t>(pid), signal);
    }
    QList<qint64> menuBars() const {
        QList<qint64> found;
        for (const qint64 pid : marked())
            if (QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid))
                    .endsWith(QStringLiteral("/ombru-menubar")))
                found += pid;
        return found;
    }
    Finished ombru(const QStringList &arguments) { return end(startProgram(QStringLiteral("ombru"), arguments)); }

    static bool isOpen(const QString &title) {
        return !outputOf({QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
                          u'^' + title + u'$'})
                    .isEmpty();
    }
    static bool opens(const QString &title) {
        return waitUntil([&] { return isOpen(title); });
    }
    static bool closes(const QString &title) {
        return waitUntil([&] { return !isOpen(title); });
    }
    // By the person's own pointer: a click that the window manager and the host see.
    static void click(const QPoint &place) {
        runProgram("xdotool mousemove " + QByteArray::number(place.x()) + ' ' + QByteArray::number(place.y()) +
                   " click 1");
    }
    static void press(const QByteArray &key) { runProgram("xdotool key " + key); }
    static QByteArray outputOf(const QStringList &words) {
        QProcess process;
        process.start(QStringLiteral("xdotool"), words);
        EXPECT_TRUE(process.waitForFinished(GUARD_MILLISECONDS));
        return process.readAllStandardOutput();
    }
    static int numberIn(const QByteArray &text, const QByteArray &key) {
        return text.mid(text.indexOf(key) + key.size()).split('\n').front().toInt();
    }
    // Of the window with that number.
    static QRect placeOf(const QByteArray &window) {
        const auto told =
            outputOf({QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), QString::fromLatin1(window)});
        return {numberIn(told, "X="), numberIn(told, "Y="), numberIn(told, "WIDTH="), numberIn(told, "HEIGHT=")};
    }
    static QRect panelPlace() {
        return placeOf(outputOf({QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
                                 u'^' + PANEL + u'$'})
                           .trimmed());
    }

    QByteArray m_settings; // more of them, whole lines
    std::shared_ptr<Process> m_menuBar;
};

} // namespace ombru::test
