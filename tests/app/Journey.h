// The real program on a real desktop with a home of its own: ombru, an agent that knows its tasks by heart, osascript,
// a real editor. What they did is on the disk. For tests in a private desktop.
#pragma once
#include "base/Process.h"
#include "tests/support/Consent.h"
#include "tests/support/Processes.h"

namespace ombru::test {

struct Finished {
    int status = -1;
    QString out; // with the errors
};

class Journey : public testing::Test {
protected:
    Journey() {
        QDir(m_scratch.directory()).mkpath(QStringLiteral(".local/bin"));
        EXPECT_TRUE(QFile::link(bin(QStringLiteral("ombru-rehearsed-agent")), claude()));
        m_environment["HOME"] = m_scratch.directory().toUtf8();
        m_environment["OMBRU_JOURNEY"] = m_scratch.directory().toUtf8();
        for (const char *name : {"XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME"})
            m_environment.erase(name);
    }
    // What the scripts opened is the owner's, so the test ends it: all that carry the test's mark.
    ~Journey() override { EXPECT_TRUE(endMarked(mark())); }

    static QString bin(const QString &name) { return qEnvironmentVariable("OMBRU_BIN") + u'/' + name; }
    QString claude() const { return m_scratch.path(QStringLiteral(".local/bin/claude")); }
    QString data() const { return m_scratch.path(QStringLiteral(".local/share")); }

    QByteArray mark() const { return "OMBRU_JOURNEY=" + m_scratch.directory().toUtf8(); }
    QList<qint64> marked() const { return processesMarked(mark()); }
    QStringList markedPrograms() const {
        QStringList programs;
        for (const qint64 pid : marked())
            programs += QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid))).fileName();
        return programs;
    }

    // The agent knows only this scenario then.
    void teach(const QByteArray &scenario) {
        m_environment["OMBRU_SCENARIO"] = m_scratch.write(QStringLiteral("taught.scenario"), scenario).toUtf8();
    }

    std::shared_ptr<Process> startProgram(const QString &name, const QStringList &arguments) {
        auto process = Process::make({.program = bin(name),
                                      .arguments = arguments,
                                      .directory = m_scratch.directory(),
                                      .environment = m_environment});
        const auto started = process->start();
        EXPECT_TRUE(started) << started.error().description.toStdString();
        return process;
    }
    std::shared_ptr<Process> start(const QStringList &arguments) {
        return startProgram(QStringLiteral("ombru"), QStringList{QStringLiteral("run")} + arguments);
    }
    static Finished end(const std::shared_ptr<Process> &process) {
        await(process->ended());
        return {process->status(), QString::fromUtf8(process->takeOutput() + process->takeErrors())};
    }
    Finished run(const QStringList &arguments) { return end(start(arguments)); }

    Scratch m_scratch{QStringLiteral("Zoë’s home ☂")}; // as homes are named
    Environment m_environment = ownEnvironment();
};

} // namespace ombru::test
