// Who has a script run: walks over made-up processes, and over real ones.
#include "platform/linux/consent/ConsentClient.h"

#include "base/Process.h"
#include "tests/support/Processes.h"

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

const QString OSASCRIPT = u"/usr/bin/osascript"_s;

class ConsentClientTest : public ::testing::Test {
protected:
    // Process numbers are ages: a higher one was started later.
    void process(int pid, int parent, const QString &program, const QByteArray &environment = {}, int start = -1) {
        const auto directory = scratch.path(QString::number(pid));
        QDir().mkpath(directory);
        const auto line = u"%1 (a ) S 9 9 (x) S %2 0 0 0 0 0 0 0 0 0 0 0 0 0 0 20 0 1 %3 0 0\n"_s.arg(pid).arg(parent);
        scratch.write(u"%1/stat"_s.arg(pid), line.arg(start < 0 ? pid : start).toUtf8());
        scratch.write(u"%1/environ"_s.arg(pid), environment);
        QFile::remove(directory + u"/exe"_s);
        if (!program.isEmpty())
            QFile::link(program, directory + u"/exe"_s);
    }
    QString client(int pid) { return askingClient(scratch.directory(), pid, OSASCRIPT).id; }

    test::Scratch scratch;
};

} // namespace

TEST_F(ConsentClientTest, IsTheApplicationBesideUsWhateverStandsBetween) {
    process(1, 0, u"/sbin/init"_s);
    process(10, 1, u"/usr/bin/ombru"_s, QByteArray("HOME=/home/me\0XDG_DATA_HOME=/d=1\0", 33));
    process(11, 10, u"/usr/bin/python3.11"_s);
    process(12, 11, u"/usr/bin/dash"_s);
    process(13, 12, OSASCRIPT);
    const auto found = askingClient(scratch.directory(), 13, OSASCRIPT);
    EXPECT_EQ(found.id, u"com.ombru.mac"_s);
    ASSERT_TRUE(found.environment);
    EXPECT_EQ(*found.environment, (Environment{{"HOME", "/home/me"}, {"XDG_DATA_HOME", "/d=1"}}));
}

TEST_F(ConsentClientTest, ThePrivacySettingsAskForTheApplication) {
    process(10, 1, u"/usr/bin/ombru-privacy"_s);
    process(11, 10, OSASCRIPT);
    EXPECT_EQ(client(11), u"com.ombru.mac"_s);
}

TEST_F(ConsentClientTest, TheOutermostApplicationIsBelieved) {
    process(10, 1, u"/usr/bin/ombru"_s, QByteArray("HOME=/true\0", 11));
    process(11, 10, OSASCRIPT);
    process(12, 11, u"/usr/bin/ombru"_s, QByteArray("HOME=/forged\0", 13));
    process(13, 12, OSASCRIPT);
    EXPECT_EQ(askingClient(scratch.directory(), 13, OSASCRIPT).environment->at("HOME"), "/true");
}

TEST_F(ConsentClientTest, StaysTheApplicationAfterAnUpgrade) {
    process(10, 1, u"/usr/bin/ombru (deleted)"_s);
    process(11, 10, OSASCRIPT);
    EXPECT_EQ(client(11), u"com.ombru.mac"_s);
}

TEST_F(ConsentClientTest, AnApplicationOfThatNameElsewhereIsAnotherProgram) {
    for (const auto &program : {u"/tmp/ombru"_s, u"/usr/bin/ombru2"_s, u"/usr/bin/x/ombru"_s, u"/usr/bin/ombru "_s}) {
        process(10, 1, program);
        process(11, 10, OSASCRIPT);
        EXPECT_EQ(client(11), program);
    }
}

TEST_F(ConsentClientTest, IsTheNearestProgramThatIsMoreThanAShell) {
    process(8, 1, u"/usr/bin/outer"_s);
    process(9, 8, u"/usr/bin/xterm"_s);
    process(10, 9, u"/bin/bash"_s);
    process(11, 10, u"/usr/bin/env"_s);
    process(12, 11, u"/usr/bin/timeout"_s);
    process(13, 12, OSASCRIPT);
    process(14, 13, u"/bin/sh"_s);
    process(15, 14, OSASCRIPT);
    EXPECT_EQ(client(15), u"/usr/bin/xterm"_s);
}

TEST_F(ConsentClientTest, AmongShellsIsTheOutermost) {
    process(10, 0, u"/usr/bin/zsh"_s);
    process(11, 10, u"/bin/sh"_s);
    process(12, 11, OSASCRIPT);
    EXPECT_EQ(client(12), u"/usr/bin/zsh"_s);
}

TEST_F(ConsentClientTest, AProcessThatCannotBeLookedAtEndsTheWalk) {
    process(10, 1, u"/usr/bin/ombru"_s);
    process(11, 10, {});
    process(12, 11, u"/bin/sh"_s);
    process(13, 12, OSASCRIPT);
    EXPECT_EQ(client(13), u"/bin/sh"_s);
    process(14, 99, OSASCRIPT);
    EXPECT_EQ(client(14), OSASCRIPT) << "its parent has gone";
    EXPECT_EQ(client(77), OSASCRIPT) << "nothing is known of itself";
}

TEST_F(ConsentClientTest, BehindOneThatCannotBeLookedAtAScriptIsStillSeen) {
    process(10, 1, OSASCRIPT);
    process(11, 10, {});
    process(12, 11, u"/usr/bin/ombru"_s);
    EXPECT_TRUE(runsBelowScript(scratch.directory(), 12));
    process(20, 1, {});
    process(21, 20, u"/usr/bin/ombru"_s);
    EXPECT_FALSE(runsBelowScript(scratch.directory(), 21));
}

TEST_F(ConsentClientTest, ANumberThatWasGivenAnewIsNoParent) {
    process(10, 1, u"/usr/bin/ombru"_s, {}, 500);
    process(11, 10, u"/bin/sh"_s, {}, 20);
    process(12, 11, OSASCRIPT, {}, 30);
    EXPECT_EQ(client(12), u"/bin/sh"_s);
}

TEST_F(ConsentClientTest, ACircleEnds) {
    process(10, 11, u"/bin/sh"_s, {}, 5);
    process(11, 10, u"/bin/dash"_s, {}, 5);
    process(12, 11, OSASCRIPT, {}, 5);
    EXPECT_EQ(client(12), u"/bin/sh"_s);
}

TEST_F(ConsentClientTest, NonsenseInProcIsNoProcess) {
    process(10, 1, u"/usr/bin/ombru"_s);
    process(11, 10, OSASCRIPT);
    for (const auto &stat :
         {QByteArray(), QByteArray("11"), QByteArray("11 (x"), QByteArray("11 (x) S"), QByteArray(5000, ')')}) {
        scratch.write(u"11/stat"_s, stat);
        EXPECT_EQ(client(11), OSASCRIPT);
    }
}

TEST_F(ConsentClientTest, OfARealProcessIsTheProgramThatStartedIt) {
    const auto mine = QCoreApplication::applicationFilePath();
    auto shell = Process::make(
        {.program = u"/bin/sh"_s,
         .arguments = {u"-c"_s, u"sh -c 'echo $$ >%1; exec sleep 600'; true"_s.arg(scratch.path(u"pid"_s))}});
    ASSERT_TRUE(shell->start());
    const auto pid = test::pidIn(scratch.path(u"pid"_s));
    ASSERT_GT(pid, 0);
    EXPECT_EQ(askingClient(u"/proc"_s, pid, OSASCRIPT).id, mine);
    EXPECT_EQ(askingClient(u"/proc"_s, pid, QFileInfo(mine).path() + u"/osascript"_s).id, mine);
    shell->terminate();
    test::await(shell->ended());
    EXPECT_FALSE(askingClient().id.isEmpty());
}
