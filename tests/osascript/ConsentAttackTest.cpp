// Scripts that try to reach an application which the owner has not allowed: whatever they forge, damage or start, it is
// not reached.
#include "tests/osascript/ConsentAttackFixture.h"

#include <QStandardPaths>

#include <SQLiteCpp/SQLiteCpp.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

// --- who asks

TEST_F(ConsentAttack, WhatIsAllowedIsReached) {
    allow(data(), {u"probe"_s}, ownConsentClient());
    expectReached(underOmbru(osascript(REACH)));
    expectReached(
        underOmbru(osascript(u"do shell script "_s + u'"' + osascript(REACH).replace(u'"', u"\\\""_s) + u'"')));
    decide(data(), ownConsentClient(), {u"probe"_s}, false);
    expectRefused(underOmbru(osascript(REACH)));
}

TEST_F(ConsentAttack, ScriptsOfScriptsAreTheApplicationsToo) {
    allowAllOthers();
    const auto inner = osascript(REACH);
    const auto shellScript = [](QString line) {
        return u"do shell script \"%1\""_s.arg(line.replace(u'\\', u"\\\\"_s).replace(u'"', u"\\\""_s));
    };
    expectRefused(underOmbru(inner));
    expectRefused(underOmbru(osascript(shellScript(inner))));
    expectRefused(underOmbru(osascript(shellScript(osascript(shellScript(inner))))));
    for (const auto &wrapper : {u"env"_s,
                                u"env -i BIN=\"$BIN\" XDG_DATA_HOME=\"$XDG_DATA_HOME\" "
                                "XDG_DATA_DIRS=\"$XDG_DATA_DIRS\""_s,
                                u"timeout 60"_s, u"setsid -w"_s, u"nohup"_s, u"nice"_s, u"sh -c '\"$@\"; exit $?' sh"_s,
                                u"python3 -c 'import subprocess, sys; sys.exit(subprocess.call(sys.argv[1:]))'"_s,
                                u"sh -c '\"$@\" & wait $!' sh"_s,
                                u"\"$BIN/osascript\" -e "
                                "'on run a' -e 'do shell "
                                "script item 1 of a' -e 'end' "_s})
        expectRefused(underOmbru(osascript(
            shellScript(wrapper.contains(u"on run"_s) ? wrapper + quoted(inner) : wrapper + u" "_s + inner))));
}

TEST_F(ConsentAttack, AnOrphanIsNotTheApplication) {
    allow(data(), {u"probe"_s}, ownConsentClient());
    const auto line = u"sh -c "_s +
                      quoted(u"while kill -0 $0; do sleep 0.05; done; %1; echo >orphan.end"_s.arg(
                          osascript(REACH) + u" >orphan.out 2>&1"_s)) +
                      u" $$ </dev/null >/dev/null 2>&1 &"_s;
    underOmbru(line);
    ASSERT_TRUE(waitUntil([this] { return QFile::exists(m_scratch.path(u"orphan.end"_s)); }));
    EXPECT_TRUE(contents(m_scratch.path(u"orphan.out"_s)).contains("-1743"))
        << contents(m_scratch.path(u"orphan.out"_s)).toStdString();
    EXPECT_FALSE(QFile::exists(launchedFile()));
}

// It waits until the shell that started it has ended, and then belongs to nobody.
TEST_F(ConsentAttack, WhatAScriptLeavesBehindIsNotTheApplication) {
    allow(data(), {u"probe"_s}, ownConsentClient());
    const auto waiting = u"sh -c "_s + quoted(u"while kill -0 $0; do sleep 0.05; done; %1 >left.out 2>&1; "
                                              "echo >left.end"_s.arg(osascript(REACH)));
    for (const auto &leaving : {u"nohup %1 $$ &"_s, u"setsid -f %1 $$"_s, u"setsid -f nohup %1 $$"_s}) {
        underOmbru(u"exec >/dev/null 2>&1 </dev/null; "_s + leaving.arg(waiting));
        ASSERT_TRUE(waitUntil([this] { return QFile::exists(m_scratch.path(u"left.end"_s)); }));
        EXPECT_TRUE(contents(m_scratch.path(u"left.out"_s)).contains("-1743"));
        EXPECT_FALSE(QFile::exists(launchedFile()));
        QFile::remove(m_scratch.path(u"left.end"_s));
    }
}

TEST_F(ConsentAttack, ACopyOfTheInterpreterIsNotTheApplications) {
    allow(data(), {u"probe"_s}, ownConsentClient());
    playPrompt("exit 0");
    copy(bin(u"osascript"_s), u"elsewhere/osascript"_s);
    expectRefused(underOmbru(u"elsewhere/osascript -e "_s + quoted(REACH)));
    EXPECT_TRUE(promptArguments().isEmpty()) << "it has nobody to ask";
}

TEST_F(ConsentAttack, AProgramThatTakesTheApplicationsNameIsAnother) {
    allow(data(), {u"probe"_s}, ownConsentClient());
    const QStringList line{u"-c"_s, osascript(REACH) + u"\ns=$?; exit $s"_s};
    expectRefused(run(m_scratch.path(u"elsewhere/ombru"_s), line));
    // What it calls itself in its first argument is nothing that counts.
    expectRefused(run(QStandardPaths::findExecutable(u"bash"_s),
                      {u"-c"_s, u"(exec -a \"$BIN/ombru\" bash -c \"$0\n:\")"_s, osascript(REACH) + u" || exit 1"_s}));
    expectRefused(run(SHELL, line));
}

// A shell, and what passes open files on, is the script's own.
TEST_F(ConsentAttack, WhatHasInheritedTheMarkIsTheApplication) {
    allow(data(), {u"probe"_s}, ownConsentClient());
    for (const auto &wrapper : {u"env"_s, u"timeout 60"_s, u"setsid -w"_s, u"nohup"_s, u"sh -c '\"$@\"; exit $?' sh"_s})
        expectReached(underOmbru(wrapper + u' ' + osascript(REACH)));
    ASSERT_TRUE(QFile::copy(bin(u"ombru"_s), bin(u"ombru-privacy"_s)));
    expectReached(run(bin(u"ombru-privacy"_s), {u"-c"_s, osascript(REACH) + u"\ns=$?; exit $s"_s}));
}

TEST_F(ConsentAttack, DescentWithoutTheMarkIsRefusedAndNobodyIsAsked) {
    playPrompt("exit 0");
    expectReached(underOmbru(osascript(REACH)));
    ASSERT_FALSE(promptArguments().isEmpty()) << "with it the owner is";
    QFile::remove(m_scratch.path(u"prompt.arguments"_s));
    allow(data(), {u"probe"_s}, ownConsentClient());
    for (const auto &wrapper :
         {u"exec 3>&-; \"$@\""_s, u"exec 3</dev/null; \"$@\""_s,
          u"python3 -c 'import subprocess, sys; sys.exit(subprocess.call(sys.argv[1:]))' \"$@\""_s})
        expectRefused(underOmbru(u"sh -c "_s + quoted(wrapper + u"; exit $?"_s) + u" sh "_s + osascript(REACH)));
    EXPECT_TRUE(promptArguments().isEmpty());
}

TEST_F(ConsentAttack, AnApplicationBesideACopyOfTheInterpreterIsAnother) {
    allow(data(), {u"probe"_s}, ownConsentClient());
    copy(bin(u"osascript"_s), u"evil/osascript"_s);
    copy(bin(u"ombru"_s), u"evil/ombru"_s);
    m_environment["BIN"] = m_scratch.path(u"evil"_s).toUtf8();
    expectRefused(run(m_scratch.path(u"evil/ombru"_s), {u"-c"_s, osascript(REACH) + u"\ns=$?; exit $s"_s}));
}

TEST_F(ConsentAttack, HardLinksToTheProgramsAreOthers) {
    allow(data(), {u"probe"_s}, ownConsentClient());
    const QTemporaryDir linked(STAGE + u"/../linked"_s); // links stay on one disk
    for (const auto &name : {u"ombru"_s, u"osascript"_s})
        ASSERT_EQ(::link(bin(name).toUtf8().constData(), linked.filePath(name).toUtf8().constData()), 0);
    const QStringList line{u"-c"_s, osascript(REACH) + u"\ns=$?; exit $s"_s};
    expectRefused(run(linked.filePath(u"ombru"_s), line));
    m_environment["BIN"] = linked.path().toUtf8();
    expectRefused(run(linked.filePath(u"ombru"_s), line));
}

// Who may not make a namespace cannot try.
TEST_F(ConsentAttack, AProgramMountedOverTheApplicationIsAnother) {
    allow(data(), {u"probe"_s}, ownConsentClient());
    copy(bin(u"ombru"_s), u"evil/ombru"_s);
    const auto mounting = u"mount --bind '%1' \"$BIN/ombru\" && echo mounted && \"$BIN/ombru\" -c \"$0\""_s.arg(
        m_scratch.path(u"evil/ombru"_s));
    for (const auto &space : {u"-m"_s, u"-rm"_s}) {
        const auto outcome =
            run(u"/usr/bin/unshare"_s, {space, u"sh"_s, u"-c"_s, mounting, osascript(REACH) + u" || exit 1"_s});
        if (outcome.out.contains(u"mounted"_s))
            expectRefused(outcome);
    }
}

TEST_F(ConsentAttack, AMarkOfAnotherProgramsMakingIsNone) {
    allow(data(), {u"probe"_s}, ownConsentClient());
    copy(bin(u"ombru"_s), u"evil/ombru"_s);
    const auto fake = m_scratch.path(u"evil/ombru"_s);
    const QString line = osascript(REACH) + u" || exit 1"_s;
    expectRefused(run(fake, {u"-c"_s, line}));
    expectRefused(underOmbru(u"exec 3>&-; '"_s + fake + u"' -c "_s + quoted(line)));
}

TEST_F(ConsentAttack, AnApplicationThatAScriptStartsHasNoPermissionsOfItsOwn) {
    playPrompt("exit 0");
    allow(data(), {u"probe"_s}, ownConsentClient());
    const auto line = u"\"$BIN/ombru\" -c "_s + quoted(osascript(REACH) + u" || exit 1"_s);
    m_environment["LINE"] = line.toUtf8();
    expectRefused(run(bin(u"osascript"_s), {u"-e"_s, u"do shell script \"eval \\\"$LINE\\\"\""_s}));
    expectRefused(underOmbru(u"exec 3>&-; "_s + line));
    EXPECT_TRUE(promptArguments().isEmpty());
}

// --- what a script forges

TEST_F(ConsentAttack, AnEnvironmentWithAnotherRecordDecidesNothing) {
    decide(data(), ownConsentClient(), {u"probe"_s}, false);
    const auto evil = m_scratch.path(u"evil"_s);
    const auto evilHome = evil + u"/.local/share"_s;
    for (const auto &directory : {evil, evilHome})
        allow(directory, {u"probe"_s}, ownConsentClient());
    for (const auto &forged :
         {u"XDG_DATA_HOME="_s + quoted(evil), u"XDG_DATA_HOME= HOME="_s + quoted(evil),
          u"OMBRU_CLIENT=x CLIENT=x _="_s + SHELL, u"env -u XDG_DATA_HOME HOME="_s + quoted(evil)}) {
        expectRefused(underOmbru(forged + u' ' + osascript(REACH)));
        // An application inside the application is not asked where the record is.
        expectRefused(underOmbru(forged + u" \"$BIN/ombru\" -c "_s + quoted(osascript(REACH) + u"\ns=$?; exit $s"_s)));
    }
}

TEST_F(ConsentAttack, TheOwnersOwnEnvironmentSaysWhereTheRecordIs) {
    m_environment.erase("XDG_DATA_HOME");
    allow(m_scratch.path(u"home/.local/share"_s), {u"probe"_s}, ownConsentClient());
    expectReached(underOmbru(osascript(REACH)));
}

TEST_F(ConsentAttack, AHomeBehindALinkIsTheSameHome) {
    ASSERT_TRUE(QFile::link(m_scratch.path(u"home"_s), m_scratch.path(u"link"_s)));
    m_environment.erase("XDG_DATA_HOME");
    m_environment["HOME"] = m_scratch.path(u"link"_s).toUtf8();
    const auto home = m_scratch.path(u"home/.local/share"_s);
    allow(home, {u"probe"_s}, ownConsentClient());
    expectReached(underOmbru(osascript(REACH)));
    decide(home, ownConsentClient(), {u"probe"_s}, false);
    const auto evil = m_scratch.path(u"evil"_s);
    allow(evil + u"/.local/share"_s, {u"probe"_s}, ownConsentClient());
    ASSERT_TRUE(QFile::link(evil, m_scratch.path(u"forged"_s)));
    expectRefused(underOmbru(u"HOME="_s + quoted(m_scratch.path(u"forged"_s)) + u' ' + osascript(REACH)));
}

// --- what is done to the record

TEST_F(ConsentAttack, ARecordThatCannotBeUsedLetsNothingThrough) {
    expectRefused(underOmbru(osascript(REACH))); // there is none
    const auto fresh = [this] {
        QDir(data()).removeRecursively();
        allow(data(), {u"probe"_s}, ownConsentClient());
    };
    const auto sql = [this](const char *statements) {
        SQLite::Database(database().toStdString(), SQLite::OPEN_READWRITE).exec(statements);
    };
    fresh();
    sql("PRAGMA user_version = 2");
    expectRefused(underOmbru(osascript(REACH)));
    fresh();
    sql("ALTER TABLE access RENAME TO access2");
    expectRefused(underOmbru(osascript(REACH)));
    fresh();
    ASSERT_EQ(::chmod(database().toUtf8().constData(), 0666), 0);
    expectRefused(underOmbru(osascript(REACH)));
    fresh();
    const auto whole = contents(database());
    for (const qsizetype size : {qsizetype(0), qsizetype(10), whole.size() - 4096, whole.size() - 2048}) {
        QFile::remove(database() + u"-wal"_s);
        ASSERT_TRUE(QFile::resize(database(), size));
        expectRefused(underOmbru(osascript(REACH)));
        fresh();
    }
    QDir(data() + u"/ombru"_s).removeRecursively();
    QDir().mkpath(database());
    expectRefused(underOmbru(osascript(REACH)));
    QDir(data()).removeRecursively();
    QDir().mkpath(data() + u"/ombru"_s);
    ASSERT_TRUE(QFile::link(u"/proc/self/mem"_s, database()));
    expectRefused(underOmbru(osascript(REACH)));
}

TEST_F(ConsentAttack, ALockedRecordLetsNothingThrough) {
    allow(data(), {u"probe"_s}, ownConsentClient());
    SQLite::Database other(database().toStdString(), SQLite::OPEN_READWRITE);
    other.exec("PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; UPDATE access SET last_modified = 1; COMMIT; "
               "BEGIN EXCLUSIVE");
    expectRefused(underOmbru(osascript(REACH)));
}

// --- the prompt

TEST_F(ConsentAttack, WhatIsUndecidedIsAskedAndWaitedFor) {
    playPrompt("until [ -e answered ]; do touch asked; sleep 0.05; done; exit 0");
    auto process = Process::make({.program = bin(u"ombru"_s),
                                  .arguments = {u"-c"_s, osascript(REACH) + u"\ns=$?; exit $s"_s},
                                  .directory = m_scratch.directory(),
                                  .environment = m_environment});
    ASSERT_TRUE(process->start());
    ASSERT_TRUE(waitUntil([this] { return QFile::exists(m_scratch.path(u"asked"_s)); }));
    EXPECT_FALSE(QFile::exists(launchedFile()));
    m_scratch.write(u"answered"_s, "");
    EXPECT_TRUE(waitUntil([this] { return QFile::exists(launchedFile()); }));
    await(process->ended());
    EXPECT_EQ(process->status(), 0);
    EXPECT_EQ(promptArguments(), "--client\ncom.ombru.mac\n--application\nprobe\n");
}

TEST_F(ConsentAttack, OnlyTheAnswerYesLetsItThrough) {
    for (const QByteArray &answer : {"exit 1", "exit 2", "exit 127", "kill -KILL $$"}) {
        playPrompt(answer);
        expectRefused(underOmbru(osascript(REACH)));
        EXPECT_FALSE(promptArguments().isEmpty());
    }
    m_scratch.write(u"prompt"_s, "no program");
    expectRefused(underOmbru(osascript(REACH)));
}

TEST_F(ConsentAttack, WhoIsDecidedIsNotAsked) {
    playPrompt("exit 0");
    decide(data(), ownConsentClient(), {u"probe"_s}, false);
    expectRefused(underOmbru(osascript(REACH)));
    EXPECT_TRUE(promptArguments().isEmpty());
}

TEST_F(ConsentAttack, TheOwnerIsAskedInTheApplicationsOwnEnvironment) {
    playPrompt("exit 1");
    m_environment["MARK"] = "two words, ünï";
    expectRefused(underOmbru(u"DISPLAY=:forged LD_PRELOAD= FORGED=1 XDG_DATA_HOME=/evil "_s + osascript(REACH)));
    const auto environment = promptEnvironment();
    EXPECT_TRUE(environment.contains("\nDISPLAY=:owners\n")) << environment.toStdString();
    EXPECT_TRUE(environment.contains("\nXDG_DATA_HOME=" + data().toUtf8() + '\n'));
    EXPECT_TRUE(environment.contains("\nMARK=two words, ünï\n"));
    EXPECT_FALSE(environment.contains("FORGED"));
}

TEST_F(ConsentAttack, NobodyIsAskedWithoutADisplay) {
    playPrompt("exit 0");
    m_environment.erase("DISPLAY");
    expectRefused(underOmbru(u"DISPLAY=:forged "_s + osascript(REACH)));
    EXPECT_TRUE(promptArguments().isEmpty());
}

TEST_F(ConsentAttack, TheQuestionEndsWithItsScript) {
    playPrompt("echo $$ >prompt.pid; exec sleep 600");
    auto process = Process::make({.program = bin(u"osascript"_s),
                                  .arguments = {u"-e"_s, REACH},
                                  .directory = m_scratch.directory(),
                                  .environment = m_environment});
    ASSERT_TRUE(process->start());
    const auto prompt = pidIn(m_scratch.path(u"prompt.pid"_s));
    ASSERT_GT(prompt, 0);
    process->terminate();
    await(process->ended());
    EXPECT_TRUE(waitUntil([prompt] { return !isAlive(prompt); }));
}

TEST_F(ConsentAttack, TheQuestionEndsWithTheTimeOfItsEvent) {
    playPrompt("echo $$ >prompt.pid; exec sleep 600");
    const auto outcome = underOmbru(osascript(u"with timeout of 1 second\n"_s + REACH + u"\nend timeout"_s));
    EXPECT_TRUE(outcome.err.contains(u"Probe got an error: AppleEvent timed out. (-1712)"_s)) << outcome;
    EXPECT_FALSE(QFile::exists(launchedFile()));
    const auto prompt = pidIn(m_scratch.path(u"prompt.pid"_s));
    EXPECT_GT(prompt, 0);
    EXPECT_FALSE(isAlive(prompt));
}
