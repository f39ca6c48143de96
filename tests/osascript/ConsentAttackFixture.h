// What attacks on the owner's decisions begin with: an application to reach, an osascript, and something in ombru's
// place that has a shell do what a script would. Both are in a directory of the build that counts as such a place.
#pragma once
#include "base/Process.h"
#include "tests/support/Consent.h"
#include "tests/support/Outcome.h"
#include "tests/support/Processes.h"

namespace ombru::test {

using namespace Qt::StringLiterals;

inline const QString REACH = u"tell application \"Probe\" to launch"_s;
inline const QString REFUSAL = u"execution error: Not authorized to send Apple events to Probe. (-1743)"_s;

inline QString quoted(QString text) {
    return u'\'' + text.replace(u'\'', u"'\\''"_s) + u'\'';
}

class ConsentAttack : public ::testing::Test {
protected:
    ConsentAttack() {
        for (const auto &directory : {u"elsewhere"_s, u"system/applications"_s, u"evil"_s, u"home"_s})
            QDir().mkpath(m_scratch.path(directory));
        copy(SHELL, u"elsewhere/ombru"_s);
        const auto program = m_scratch.script(u"probe-program"_s, "touch '" + launchedFile().toUtf8() + "'");
        m_scratch.write(u"system/applications/probe.desktop"_s,
                        "[Desktop Entry]\nType=Application\nName=Probe\nExec=" + program.toUtf8() + "\n");
        m_environment["HOME"] = m_scratch.path(u"home"_s).toUtf8();
        m_environment["XDG_DATA_HOME"] = m_scratch.path(u"data"_s).toUtf8();
        m_environment["XDG_DATA_DIRS"] = m_scratch.path(u"system"_s).toUtf8();
        m_environment["BIN"] = STAGE.toUtf8();
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS"})
            m_environment.erase(name);
    }

    ~ConsentAttack() override {
        QFile::remove(bin(u"ombru-consent-prompt"_s));
        QFile::remove(bin(u"ombru-privacy"_s));
    }

    void copy(const QString &from, const QString &to) {
        ASSERT_TRUE(QFile::copy(from, m_scratch.path(to))) << from.toStdString();
        QFile::setPermissions(m_scratch.path(to), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    static QString bin(const QString &name) { return STAGE + u'/' + name; }
    QString launchedFile() const { return m_scratch.path(u"launched"_s); }
    QString data() const { return m_scratch.path(u"data"_s); }
    QString database() const { return data() + u"/ombru/consent.db"_s; }

    Outcome run(const QString &program, const QStringList &arguments) {
        auto process = Process::make({.program = program,
                                      .arguments = arguments,
                                      .directory = m_scratch.directory(),
                                      .environment = m_environment});
        const auto started = process->start();
        EXPECT_TRUE(started) << started.error().description.toStdString();
        await(process->ended());
        return {process->status(), QString::fromUtf8(process->takeOutput()), QString::fromUtf8(process->takeErrors())};
    }
    // A shell line that the application runs for a script; it is not the shell's last one, so that the shell waits for
    // it.
    Outcome underOmbru(const QString &line) { return run(bin(u"ombru"_s), {u"-c"_s, line + u"\ns=$?; exit $s"_s}); }
    QString osascript(const QString &script) { return u"\"$BIN/osascript\" -e "_s + quoted(script); }

    void expectRefused(const Outcome &outcome) {
        EXPECT_NE(outcome.status, 0) << outcome;
        EXPECT_TRUE(outcome.err.contains(REFUSAL)) << outcome;
        EXPECT_FALSE(QFile::exists(launchedFile())) << outcome;
    }
    void expectReached(const Outcome &outcome) {
        EXPECT_EQ(outcome.status, 0) << outcome;
        EXPECT_TRUE(waitUntil([this] { return QFile::exists(launchedFile()); })) << outcome;
        QFile::remove(launchedFile());
    }
    // Everybody may, except scripts of the application.
    void allowAllOthers() {
        for (const auto &client :
             {QCoreApplication::applicationFilePath(), SHELL, bin(u"osascript"_s), u"/usr/bin/env"_s, u"ombru"_s,
              m_scratch.path(u"elsewhere/ombru"_s), u"/usr/bin/timeout"_s, u"/usr/bin/setsid"_s, PYTHON, u""_s})
            allow(data(), {u"probe"_s}, client);
    }
    // A program that stands for the owner's prompt.
    void playPrompt(const QByteArray &body) {
        m_scratch.script(u"prompt"_s, "printf '%s\\n' \"$@\" >'" + m_scratch.path(u"prompt.arguments"_s).toUtf8() +
                                          "'; env >'" + m_scratch.path(u"prompt.environment"_s).toUtf8() + "'\n" +
                                          body);
        QFile::link(m_scratch.path(u"prompt"_s), bin(u"ombru-consent-prompt"_s));
        m_environment["DISPLAY"] = ":owners";
    }
    QByteArray promptArguments() const { return contents(m_scratch.path(u"prompt.arguments"_s)); }
    QByteArray promptEnvironment() const { return '\n' + contents(m_scratch.path(u"prompt.environment"_s)); }

    static inline const QString STAGE = QDir::cleanPath(qEnvironmentVariable("OMBRU_BIN") + u"/../tests/stage"_s);
    static inline const QString SHELL = QFileInfo(u"/bin/sh"_s).canonicalFilePath();
    static inline const QString PYTHON = QFileInfo(u"/usr/bin/python3"_s).canonicalFilePath();
    Scratch m_scratch;
    Environment m_environment = ownEnvironment();
};

} // namespace ombru::test
