// `ombru uninstall` as its owner types it, in a home of the test's own.
#include "agent/Claude.h"
#include "app/control/ControlPlace.h"
#include "app/resident/OneInstance.h"
#include "base/Process.h"
#include "tests/support/Outcome.h"
#include "tests/support/Processes.h"
#include "tests/support/Variable.h"
#include "tests/support/Wait.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class Uninstall : public ::testing::Test {
protected:
    Uninstall() {
        for (const auto &[path, content] : m_kept)
            write(path, content);
        write(u"config/autostart/other.desktop"_s, "another program's");
        write(u"data/other/file"_s, "another program's");
        write(u"home/.claude/projects/-elsewhere/one.jsonl"_s, "another directory's");
    }

    void write(const QString &path, const QByteArray &content) {
        QDir().mkpath(QFileInfo(m_scratch.path(path)).path());
        m_scratch.write(path, content);
    }
    QString claudePlace() const {
        return QDir(m_scratch.directory()).relativeFilePath(Claude::conversationsPath(m_scratch.path(u"data/ombru"_s)));
    }
    bool isThere(const QString &path) const { return QFileInfo(m_scratch.path(path)).exists(); }
    bool othersAreThere() const {
        return isThere(u"config/autostart/other.desktop"_s) && isThere(u"data/other/file"_s) &&
               isThere(u"home/.claude/projects/-elsewhere/one.jsonl"_s);
    }
    bool allIsThere() const {
        return othersAreThere() && std::ranges::all_of(m_kept, [&](const auto &file) { return isThere(file.first); });
    }

    Outcome run(const QStringList &command) {
        auto process = Process::make({.program = command.first(),
                                      .arguments = command.sliced(1),
                                      .directory = m_scratch.directory(),
                                      .environment = ownEnvironment()});
        EXPECT_TRUE(process->start());
        await(process->ended());
        return {process->status(), QString::fromUtf8(process->takeOutput()), QString::fromUtf8(process->takeErrors())};
    }
    // On a terminal, where somebody types that; gives all that it showed.
    Outcome purge(const QString &typed) {
        return run(
            {u"/bin/sh"_s, u"-c"_s,
             u"printf '%s\\n' '%1' | script -qefc \"'%2' uninstall --purge-data\" /dev/null"_s.arg(typed, ombru())});
    }
    QString ombru() const { return m_bin + u"/ombru"_s; }

    const QString m_bin = qEnvironmentVariable("OMBRU_BIN");
    Scratch m_scratch;
    Variable m_home{"HOME", m_scratch.path(u"home"_s).toUtf8()};
    Variable m_config{"XDG_CONFIG_HOME", m_scratch.path(u"config"_s).toUtf8()};
    Variable m_data{"XDG_DATA_HOME", m_scratch.path(u"data"_s).toUtf8()};
    Variable m_state{"XDG_STATE_HOME", m_scratch.path(u"state"_s).toUtf8()};
    Variable m_runtime{"XDG_RUNTIME_DIR", m_scratch.path(u"runtime"_s).toUtf8()};
    Variable m_bus{"DBUS_SESSION_BUS_ADDRESS"};
    Variable m_claude{"CLAUDE_CONFIG_DIR"};
    const bool m_made =
        QDir().mkpath(m_scratch.path(u"runtime"_s)) &&
        QFile::setPermissions(m_scratch.path(u"runtime"_s), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner) &&
        QDir().mkpath(m_scratch.path(u"data/ombru"_s));
    const std::vector<std::pair<QString, QByteArray>> m_kept{
        {u"config/ombru/ombru.conf"_s, "maxSteps=3\n"},
        {u"data/ombru/screenshots/step-1.png"_s, "picture"},
        {u"data/ombru/secrets/device-token"_s, "token"},
        {u"state/ombru/ombru.log"_s, "log"},
        {u"config/autostart/ombru.desktop"_s, "[Desktop Entry]\n"},
        {claudePlace() + u"/one.jsonl"_s, "{}"},
    };
};

} // namespace

TEST_F(Uninstall, SaysHowAndRemovesNothingByItself) {
    const auto outcome = run({ombru(), u"uninstall"_s});
    EXPECT_EQ(outcome.status, 0) << outcome;
    EXPECT_TRUE(outcome.out.contains(u"sudo apt remove ombru"_s)) << outcome;
    EXPECT_TRUE(outcome.out.contains(u"ombru uninstall --purge-data"_s)) << outcome;
    EXPECT_TRUE(allIsThere());
}

TEST_F(Uninstall, NamesAllThatItKeepsAndRemovesItWhenTold) {
    const auto outcome = purge(u"yes"_s);
    EXPECT_EQ(outcome.status, 0) << outcome;
    for (const auto &place :
         {u"config/ombru"_s, u"data/ombru"_s, u"state/ombru"_s, u"config/autostart/ombru.desktop"_s, claudePlace()}) {
        EXPECT_TRUE(outcome.out.contains(m_scratch.path(place) + u" ("_s)) << outcome;
        EXPECT_FALSE(isThere(place)) << outcome;
    }
    EXPECT_TRUE(outcome.out.contains(u"sudo apt remove ombru"_s)) << outcome;
    EXPECT_TRUE(othersAreThere());
    const auto again = purge(u"yes"_s);
    EXPECT_EQ(again.status, 0) << again;
    EXPECT_TRUE(again.out.contains(u"keeps nothing"_s)) << again;
}

TEST_F(Uninstall, RemovesNothingForAnyOtherAnswer) {
    for (const auto &answer : {u"y"_s, u"YES"_s, u"no"_s, u""_s}) {
        const auto outcome = purge(answer);
        EXPECT_EQ(outcome.status, 1) << outcome;
        EXPECT_TRUE(outcome.out.contains(u"Nothing was removed."_s)) << outcome;
        EXPECT_TRUE(allIsThere());
    }
}

TEST_F(Uninstall, RemovesNothingWhereNobodyCanBeAsked) {
    const auto outcome = run({u"/bin/sh"_s, u"-c"_s, u"echo yes | '%1' uninstall --purge-data"_s.arg(ombru())});
    EXPECT_EQ(outcome.status, 1) << outcome;
    EXPECT_TRUE(outcome.err.contains(u"in a terminal"_s)) << outcome;
    EXPECT_TRUE(allIsThere());
}

TEST_F(Uninstall, RefusesAScript) {
    const auto line = u"echo yes | script -qefc \"'%1' uninstall --purge-data\" /dev/null; true"_s.arg(ombru());
    const auto outcome = run(
        {m_bin + u"/osascript"_s, u"-e"_s, u"do shell script \"%1\""_s.arg(QString(line).replace(u'"', u"\\\""_s))});
    EXPECT_EQ(outcome.status, 0) << outcome;
    EXPECT_TRUE(outcome.out.contains(u"A script cannot remove"_s)) << outcome;
    EXPECT_TRUE(allIsThere());
}

TEST_F(Uninstall, RefusesWhileTheApplicationRuns) {
    const auto socket = controlSocket();
    ASSERT_TRUE(socket) << socket.error().description.toStdString();
    const auto running = lockInstance(*socket);
    ASSERT_TRUE(running && *running);
    const auto outcome = purge(u"yes"_s);
    EXPECT_EQ(outcome.status, 1) << outcome;
    EXPECT_TRUE(outcome.out.contains(u"ombru is running. End it first"_s)) << outcome;
    EXPECT_TRUE(allIsThere());
}

TEST_F(Uninstall, OfALinkRemovesTheLinkAlone) {
    ASSERT_TRUE(QDir().rename(m_scratch.path(u"config/ombru"_s), m_scratch.path(u"elsewhere"_s)));
    ASSERT_TRUE(QFile::link(m_scratch.path(u"elsewhere"_s), m_scratch.path(u"config/ombru"_s)));
    const auto outcome = purge(u"yes"_s);
    EXPECT_EQ(outcome.status, 0) << outcome;
    EXPECT_FALSE(QFileInfo(m_scratch.path(u"config/ombru"_s)).isSymLink());
    EXPECT_TRUE(isThere(u"elsewhere/ombru.conf"_s));
}
