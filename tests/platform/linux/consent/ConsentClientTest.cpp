// Who has a script run: walks over made-up processes, and over real ones.
#include "platform/linux/consent/ConsentClient.h"

#include "base/Process.h"
#include "platform/linux/consent/DisplayAbove.h"
#include "tests/support/Processes.h"

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

const QString OSASCRIPT = u"/usr/bin/osascript"_s;
const QString OMBRU = u"/usr/bin/ombru"_s;

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
    ConsentClient asking(int pid, std::optional<qint64> markMaker = {}) {
        return askingClient({.processes = scratch.directory(),
                             .pid = pid,
                             .program = OSASCRIPT,
                             .markMaker = markMaker,
                             .kinship = [this](const QString &process) {
                                 const auto program = QFile::symLinkTarget(process + u"/exe"_s);
                                 return program == OMBRU ? kinship : Kinship::none;
                             }});
    }
    QString client(int pid) { return asking(pid).id; }

    test::Scratch scratch;
    Kinship kinship = Kinship::proven; // of what runs OMBRU
};

} // namespace

TEST_F(ConsentClientTest, IsTheApplicationAboveUsWhateverStandsBetween) {
    process(1, 0, u"/sbin/init"_s);
    process(10, 1, OMBRU, QByteArray("HOME=/home/me\0XDG_DATA_HOME=/d=1\0", 33));
    process(11, 10, u"/usr/bin/python3.11"_s);
    process(12, 11, u"/usr/bin/dash"_s);
    process(13, 12, OSASCRIPT);
    const auto found = asking(13, 10);
    EXPECT_EQ(found.id, u"com.ombru.mac"_s);
    EXPECT_TRUE(found.mayBeAllowed);
    ASSERT_TRUE(found.environment);
    EXPECT_EQ(*found.environment, (Environment{{"HOME", "/home/me"}, {"XDG_DATA_HOME", "/d=1"}}));
}

TEST_F(ConsentClientTest, WithoutTheMarkOfAProvenAncestorNothingIsAllowed) {
    process(9, 1, u"/usr/bin/other"_s);
    process(10, 9, OMBRU);
    process(11, 10, OSASCRIPT);
    process(12, 1, OMBRU);
    EXPECT_TRUE(asking(11, 10).mayBeAllowed);
    for (const std::optional<qint64> maker :
         {std::optional<qint64>(), std::optional<qint64>(9), std::optional<qint64>(12)}) {
        EXPECT_EQ(asking(11, maker).id, u"com.ombru.mac"_s);
        EXPECT_FALSE(asking(11, maker).mayBeAllowed);
    }
    kinship = Kinship::claimed; // after an upgrade, say
    EXPECT_EQ(asking(11, 10).id, u"com.ombru.mac"_s);
    EXPECT_FALSE(asking(11, 10).mayBeAllowed);
}

TEST_F(ConsentClientTest, AnApplicationBelowAScriptOrAnotherHandsNothingDown) {
    for (const auto &above : {u"/home/me/osascript"_s, u"/home/me/ombru"_s, OMBRU}) {
        process(9, 1, above);
        process(10, 9, u"/bin/sh"_s);
        process(11, 10, OMBRU);
        process(12, 11, OSASCRIPT);
        EXPECT_FALSE(asking(12, 11).mayBeAllowed) << above.toStdString();
    }
}

TEST_F(ConsentClientTest, InANamespaceOfItsOwnNothingIsHandedDown) {
    process(10, 1, OMBRU);
    process(11, 10, OSASCRIPT);
    scratch.write(u"11/status"_s, "Name:\tosascript\nNSpid:\t11\n");
    scratch.write(u"11/uid_map"_s, "         0          0 4294967295\n");
    EXPECT_TRUE(asking(11, 10).mayBeAllowed);
    EXPECT_FALSE(mayServeAScript(scratch.directory(), 10));
    scratch.write(u"11/uid_map"_s, "         0       1000          1\n         1     100000      65536\n");
    EXPECT_TRUE(asking(11, 10).mayBeAllowed) << "a container";
    scratch.write(u"11/uid_map"_s, "         0       1000          1\n");
    EXPECT_FALSE(asking(11, 10).mayBeAllowed);
    scratch.write(u"11/uid_map"_s, "         0          0 4294967295\n");
    scratch.write(u"11/status"_s, "Name:\tosascript\nNSpid:\t11\t1\n");
    EXPECT_FALSE(asking(11, 10).mayBeAllowed);
    process(20, 1, u"/bin/sh"_s);
    EXPECT_FALSE(mayServeAScript(scratch.directory(), 20));
    scratch.write(u"20/status"_s, "NSpid:\t20\t1\n");
    EXPECT_TRUE(mayServeAScript(scratch.directory(), 20));
}

TEST_F(ConsentClientTest, TheOutermostApplicationIsBelieved) {
    process(10, 1, OMBRU, QByteArray("HOME=/true\0", 11));
    process(11, 10, OSASCRIPT);
    process(12, 11, OMBRU, QByteArray("HOME=/forged\0", 13));
    process(13, 12, OSASCRIPT);
    EXPECT_EQ(asking(13).environment->at("HOME"), "/true");
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
    process(10, 1, u"/usr/bin/xterm"_s);
    process(11, 10, {});
    process(12, 11, u"/bin/sh"_s);
    process(13, 12, OSASCRIPT);
    EXPECT_EQ(client(13), u"/bin/sh"_s);
    process(14, 99, OSASCRIPT);
    EXPECT_EQ(client(14), OSASCRIPT) << "its parent has gone";
    EXPECT_EQ(client(77), OSASCRIPT) << "nothing is known of itself";
}

TEST_F(ConsentClientTest, BehindOneThatCannotBeLookedAtTheApplicationAndAScriptAreStillSeen) {
    process(5, 1, OMBRU);
    process(6, 5, {});
    process(7, 6, OSASCRIPT);
    EXPECT_EQ(client(7), u"com.ombru.mac"_s);
    process(10, 1, OSASCRIPT);
    process(11, 10, {});
    process(12, 11, OMBRU);
    EXPECT_TRUE(mayServeAScript(scratch.directory(), 12));
    process(20, 1, {});
    process(21, 20, OMBRU);
    EXPECT_FALSE(mayServeAScript(scratch.directory(), 21));
}

TEST_F(ConsentClientTest, ANumberThatWasGivenAnewIsNoParent) {
    process(10, 1, OMBRU, {}, 500);
    process(11, 10, u"/bin/sh"_s, {}, 20);
    process(12, 11, OSASCRIPT, {}, 30);
    EXPECT_EQ(client(12), u"/bin/sh"_s);
}

TEST_F(ConsentClientTest, BehindAnAncestorThatChangesMeanwhileMayBeAScript) {
    process(10, 1, OSASCRIPT, {}, 500); // as one whose number was given anew looks
    process(11, 10, u"/bin/sh"_s, {}, 20);
    EXPECT_TRUE(mayServeAScript(scratch.directory(), 11));
    process(10, 1, u"/bin/sh"_s, {}, 10);
    EXPECT_FALSE(mayServeAScript(scratch.directory(), 11));
}

TEST_F(ConsentClientTest, ACircleEnds) {
    process(10, 11, u"/bin/sh"_s, {}, 5);
    process(11, 10, u"/bin/dash"_s, {}, 5);
    process(12, 11, OSASCRIPT, {}, 5);
    EXPECT_EQ(client(12), u"/bin/sh"_s);
}

TEST_F(ConsentClientTest, NonsenseInProcIsNoProcess) {
    process(10, 1, OMBRU);
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
    EXPECT_EQ(
        askingClient({.processes = u"/proc"_s, .pid = pid, .program = OSASCRIPT, .markMaker = {}, .kinship = kinshipOf})
            .id,
        mine);
    shell->terminate();
    test::await(shell->ended());
    EXPECT_FALSE(askingClient().id.isEmpty());
}

// --- whether the owner has a display

class DisplayAbove : public ConsentClientTest {
protected:
    DisplayAbove() {
        process(1, 0, u"/sbin/init"_s, DISPLAY);
        hide(1, "0"); // who the system's first belongs to does not matter in a container
        owned(20, 1, "HOME=/home/me");
        owned(30, 20, "HOME=/home/me");
        owned(40, 30, "HOME=/home/me");
    }
    void owned(int pid, int parent, const QByteArray &environment, const QByteArray &user = "1000") {
        process(pid, parent, u"/bin/bash"_s, environment);
        scratch.write(u"%1/status"_s.arg(pid), "Name:\tbash\nUid:\t" + user + "\t" + user + "\n");
    }
    // Not to be looked at.
    void hide(int pid, const QByteArray &user = "1000") {
        QFile::remove(scratch.path(u"%1/environ"_s.arg(pid)));
        scratch.write(u"%1/status"_s.arg(pid), "Name:\tbash\nUid:\t" + user + "\t" + user + "\n");
    }
    bool found() const { return isBelowADisplay(scratch.directory(), 40); }

    static inline const QByteArray DISPLAY = "HOME=/home/me\0DISPLAY=:0"_ba;
};

TEST_F(DisplayAbove, IsThatOfAnyAncestor) {
    EXPECT_FALSE(found());
    for (const auto &variable : {"DISPLAY=:0"_ba, "WAYLAND_DISPLAY=wayland-0"_ba}) {
        for (const int parent : {20, 30}) {
            owned(parent, parent - 10, "A=b" + QByteArray(1, 0) + variable);
            EXPECT_TRUE(found()) << variable.toStdString();
            owned(parent, parent - 10, "DISPLAY=" + QByteArray(1, 0) + "WAYLAND_DISPLAY=");
            EXPECT_FALSE(found()) << "an empty one is none";
        }
    }
}

TEST_F(DisplayAbove, MayBeThatOfAnAncestorThatHidesFromItsOwner) {
    for (const int parent : {20, 30}) {
        hide(parent);
        EXPECT_TRUE(found()) << parent;
        hide(parent, "0");
        EXPECT_FALSE(found()) << "another user's session is not the owner's";
        owned(parent, 1, "A=b");
    }
}

TEST_F(DisplayAbove, IsNotLookedForInALoginOverTheNetwork) {
    hide(20);
    owned(15, 1, "A=b", "0");
    owned(20, 15, "A=b");
    hide(20);
    EXPECT_FALSE(found());
    hide(30);
    EXPECT_TRUE(found()) << "only the one that the system has started";
}

TEST_F(DisplayAbove, MayBeThereWhenNotAllAncestorsWereSeen) {
    process(30, 20, u"/bin/bash"_s, "A=b", 50); // somebody else's number by now
    EXPECT_TRUE(found());
}
