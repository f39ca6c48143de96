// What the desktop knows of its applications, without a display.
#include "platform/Workspace.h"

#include "base/Process.h"
#include "tests/support/Processes.h"
#include "tests/support/Variable.h"

#include <thread>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class WorkspaceTest : public testing::Test {
protected:
    void install(const QString &id, const QByteArray &lines) {
        QDir().mkpath(m_scratch.path(u"applications"_s));
        m_scratch.write(u"applications/%1.desktop"_s.arg(id), "[Desktop Entry]\nType=Application\n" + lines);
    }
    void remove(const QString &id) { QFile::remove(m_scratch.path(u"applications/%1.desktop"_s.arg(id))); }

    Scratch m_scratch;
    Variable m_display{"DISPLAY"};
    Variable m_home{"HOME", m_scratch.directory().toUtf8()};
    Variable m_data{"XDG_DATA_HOME", m_scratch.directory().toUtf8()};
    Variable m_system{"XDG_DATA_DIRS", m_scratch.path(u"no-such"_s).toUtf8()};
    Variable m_config{"XDG_CONFIG_HOME", m_scratch.directory().toUtf8()};
};

using AnApplication = WorkspaceTest;

} // namespace

TEST_F(AnApplication, GoesByTheNameThatTheDesktopShows) {
    install(u"org.x.Editor"_s, "Name=Editor\nName[de]=Schreiber\nExec=editor\nMimeType=text/plain;\n");
    EXPECT_EQ(applicationName(u"org.x.editor"_s), u"Editor"_s);
    EXPECT_EQ(applicationName(u"com.apple.TextEdit"_s), u"Editor"_s);
    EXPECT_EQ(applicationName(u"org.x.Other"_s), std::nullopt);
    EXPECT_EQ(applicationName({}), std::nullopt);
}

TEST_F(AnApplication, SystemEventsIsAlwaysThereAndRuns) {
    EXPECT_EQ(applicationName(u"com.apple.SystemEvents"_s), u"System Events"_s);
    EXPECT_TRUE(applicationRuns(u"com.apple.systemevents"_s));
    EXPECT_TRUE(applicationRuns(u"COM.APPLE.SYSTEMEVENTS"_s));
}

TEST_F(AnApplication, IsKnownFromItsInstallationToItsRemoval) {
    EXPECT_EQ(applicationName(u"a"_s), std::nullopt);
    install(u"a"_s, "Name=One\nExec=a\n");
    EXPECT_EQ(applicationName(u"a"_s), u"One"_s);
    install(u"a"_s, "Name=Two\nExec=a\n");
    EXPECT_EQ(applicationName(u"a"_s), u"Two"_s);
    remove(u"a"_s);
    EXPECT_EQ(applicationName(u"a"_s), std::nullopt);
}

// Files that were there long ago are not read again for every question; what changes them counts all the same.
TEST_F(AnApplication, IsNoticedAmongOldOnes) {
    const auto age = [&] {
        const auto path = m_scratch.path(u"applications"_s).toUtf8();
        return std::system(("find '" + path + "' -exec touch -d '2020-01-01' {} +").constData());
    };
    install(u"a"_s, "Name=One\nExec=a\n");
    ASSERT_EQ(age(), 0);
    EXPECT_EQ(applicationName(u"a"_s), u"One"_s);
    install(u"b"_s, "Name=New\nExec=b\n");
    EXPECT_EQ(applicationName(u"b"_s), u"New"_s);
    ASSERT_EQ(age(), 0);
    EXPECT_EQ(applicationName(u"b"_s), u"New"_s);
    install(u"a"_s, "Name=Two\nExec=a\n");
    EXPECT_EQ(applicationName(u"a"_s), u"Two"_s);
    ASSERT_EQ(age(), 0);
    EXPECT_EQ(applicationName(u"a"_s), u"Two"_s);
    QDir().mkpath(m_scratch.path(u"applications/kde"_s));
    install(u"kde/c"_s, "Name=Deep\nExec=c\n");
    EXPECT_EQ(applicationName(u"kde-c"_s), u"Deep"_s);
    ASSERT_EQ(age(), 0);
    EXPECT_EQ(applicationName(u"kde-c"_s), u"Deep"_s);
    remove(u"kde/c"_s);
    EXPECT_EQ(applicationName(u"kde-c"_s), std::nullopt);
}

TEST_F(AnApplication, ANewDefaultIsNoticed) {
    install(u"a"_s, "Name=One\nExec=a\nMimeType=text/plain;\n");
    install(u"b"_s, "Name=Two\nExec=b\nMimeType=text/plain;\n");
    EXPECT_EQ(applicationName(u"com.apple.TextEdit"_s), u"One"_s);
    m_scratch.write(u"mimeapps.list"_s, "[Default Applications]\ntext/plain=b.desktop\n");
    EXPECT_EQ(applicationName(u"com.apple.TextEdit"_s), u"Two"_s);
}

TEST_F(AnApplication, RunsWhileItsProgramDoes) {
    const auto program = m_scratch.path(u"ombru-test-application"_s);
    ASSERT_TRUE(QFile::copy(u"/bin/sleep"_s, program));
    install(u"org.x.Editor"_s, "Name=Editor\nMimeType=text/plain;\nExec=" + program.toUtf8() + " %U\n");
    EXPECT_FALSE(applicationRuns(u"org.x.Editor"_s));
    EXPECT_FALSE(applicationRuns(u"com.apple.TextEdit"_s));
    EXPECT_FALSE(applicationRuns(u"not.installed"_s));
    const auto process = Process::make({.program = program, .arguments = {u"600"_s}});
    ASSERT_TRUE(process->start());
    EXPECT_TRUE(applicationRuns(u"org.x.Editor"_s));
    EXPECT_TRUE(applicationRuns(u"com.apple.TextEdit"_s));
    process->terminate();
    await(process->ended());
    EXPECT_FALSE(applicationRuns(u"org.x.Editor"_s));
}

// Each of them is a shell, as is much else that runs.
TEST_F(AnApplication, ThatIsAScriptRunsWhileThatVeryScriptDoes) {
    const auto script = m_scratch.script(u"first script"_s, "echo $$ >\"$0.pid\"; sleep 600; exit");
    const auto other = m_scratch.script(u"other"_s, "sleep 600; exit");
    install(u"first"_s, "Name=First\nExec=\"" + script.toUtf8() + "\" %U\n");
    install(u"same"_s, "Name=First by its interpreter\nExec=env A=1 sh \"" + script.toUtf8() + "\"\n");
    install(u"other"_s, "Name=Other\nExec=" + other.toUtf8() + "\n");
    install(u"shell"_s, "Name=Shell\nExec=sh\n");
    EXPECT_FALSE(applicationRuns(u"first"_s));
    const auto process = Process::make({.program = script});
    ASSERT_TRUE(process->start());
    EXPECT_TRUE(waitUntil([] { return applicationRuns(u"first"_s); }));
    EXPECT_TRUE(applicationRuns(u"same"_s));
    EXPECT_FALSE(applicationRuns(u"other"_s));
    EXPECT_FALSE(applicationRuns(u"shell"_s));
    process->terminate();
    await(process->ended());
}

TEST_F(AnApplication, InATerminalOrAContainerIsNotTakenForAnother) {
    install(u"in-terminal"_s,
            "Name=T\nTerminal=true\nExec=" + QFileInfo(u"/proc/self/exe"_s).symLinkTarget().toUtf8() + "\n");
    install(u"contained"_s, "Name=C\nExec=/usr/bin/flatpak run org.x.C\n");
    EXPECT_FALSE(applicationRuns(u"in-terminal"_s));
    EXPECT_FALSE(applicationRuns(u"contained"_s));
}

TEST_F(AnApplication, StartsWithoutADisplayToo) {
    const auto script =
        m_scratch.script(u"server"_s, "echo $$ >'" + m_scratch.path(u"pid"_s).toUtf8() + "'; sleep 600; exit");
    install(u"server"_s, "Name=Server\nExec=" + script.toUtf8() + "\n");
    ASSERT_TRUE(openApplicationHidden(u"server"_s));
    const auto pid = pidIn(m_scratch.path(u"pid"_s));
    ASSERT_GT(pid, 0);
    EXPECT_TRUE(applicationRuns(u"server"_s));
    ::kill(static_cast<pid_t>(pid), SIGKILL);
}

TEST_F(AnApplication, ManyThreadsMayAskWhileApplicationsComeAndGo) {
    install(u"a"_s, "Name=One\nExec=no-such-program\n");
    std::vector<std::jthread> threads;
    std::atomic<int> wrong = 0;
    for (int number = 0; number < 8; ++number)
        threads.emplace_back([&] {
            for (int time = 0; time < 50; ++time)
                wrong += applicationName(u"a"_s) != u"One"_s || applicationRuns(u"a"_s);
        });
    for (int number = 0; number < 100; ++number) {
        install(u"b"_s, "Name=B\nExec=b\n");
        remove(u"b"_s);
    }
    threads.clear();
    EXPECT_EQ(wrong, 0);
}
