// Commands while the application runs, as its owner types them, and what becomes of their terminals.
#include "base/Descriptor.h"
#include "tests/app/ResidentJourney.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class ResidentCommands : public ResidentJourney {
protected:
    Finished ombru(const QStringList &arguments) { return end(startProgram(u"ombru"_s, arguments)); }

    // Ready for commands.
    void begin() {
        m_application = startApplication();
        ASSERT_TRUE(waitUntil([this] { return ombru({u"log"_s}).status == 0; }));
    }

    // In a shell in which $OMBRU is the program.
    std::shared_ptr<Process> shell(const QString &line) {
        auto environment = m_environment;
        environment["OMBRU"] = bin(u"ombru"_s).toUtf8();
        auto process = Process::make({.program = u"/bin/sh"_s,
                                      .arguments = {u"-c"_s, line},
                                      .directory = m_scratch.directory(),
                                      .environment = environment});
        EXPECT_TRUE(process->start());
        return process;
    }

    // `ombru run`, its process's number in the file "pid", while claude hangs.
    std::shared_ptr<Process> startHanging() {
        hang();
        auto process = shell(u"echo $$ >pid; exec \"$OMBRU\" run wait"_s);
        m_hanging = claudePid();
        return process;
    }
    pid_t client() const { return static_cast<pid_t>(pidIn(m_scratch.path(u"pid"_s))); }
    bool claudeIsGone() {
        return waitUntil([this] { return !isAlive(m_hanging); });
    }

    // Without times, sizes and what only a task of its own has.
    static QStringList plain(const QString &output) {
        QStringList lines;
        for (const auto &line : output.split(u'\n')) {
            if (!line.startsWith(u"screenshot"_s) && !line.startsWith(u"replied"_s) && !line.contains(u"· "_s))
                lines += line;
        }
        return lines;
    }

    qint64 m_hanging = NO_PROCESS;
};

} // namespace

TEST_F(ResidentCommands, ATaskLooksTheSameWithTheApplicationAndWithout) {
    reply({u"DONE: 42"_s, u"DONE: 42"_s, u"DONE: 42"_s});
    signInBefore();
    const auto alone = run({u"six times seven"_s});
    EXPECT_EQ(alone.status, 0);
    EXPECT_TRUE(m_service.requests.empty() && m_service.channels.empty()) << "a task of its own asks no service";
    begin();
    ASSERT_TRUE(connected());
    const auto handed = run({u"six times seven"_s});
    EXPECT_EQ(handed.status, 0);
    EXPECT_EQ(plain(handed.out), plain(alone.out)) << handed.out.toStdString();
    EXPECT_TRUE(contents(m_claude.pathOf(u"question.2"_s)).contains("six times seven"));
    EXPECT_TRUE(run({u"again"_s}).out.contains(u"✓ 42"_s));
    EXPECT_TRUE(contents(m_claude.pathOf(u"question.3"_s)).contains("--resume session-1")) << "it continues";
    QByteArray page;
    EXPECT_TRUE(waitUntil([&] {
        page.clear();
        for (const auto &frame : m_service.newest().frames)
            page += frame.payload;
        return page.contains("you ❯ again");
    })) << "the page hears of it";
}

TEST_F(ResidentCommands, StatusAndTestLookTheSameToo) {
    m_claude.playAlways("case $1 in --help|auth) exit 1;; esac; echo '{\"result\": \"ombru test ok\"}'");
    const auto status = ombru({u"status"_s});
    const auto test = ombru({u"test-claude"_s});
    begin();
    auto lines = ombru({u"status"_s}).out.split(u'\n');
    lines.removeIf([](const QString &line) { return line.contains(u"✓ application"_s); });
    EXPECT_EQ(lines.join(u'\n'), status.out);
    EXPECT_EQ(ombru({u"test-claude"_s}).out.left(20), test.out.left(20));
}

TEST_F(ResidentCommands, WithoutTheApplicationSomeHaveNothingToDo) {
    for (const auto &arguments :
         {QStringList{u"stop"_s}, QStringList{u"log"_s}, QStringList{u"share-audio"_s, u"on"_s}}) {
        const auto ended = ombru(arguments);
        EXPECT_EQ(ended.status, 1);
        EXPECT_EQ(ended.out, u"The application is not running: `ombru --headless` starts it.\n"_s);
    }
    const auto detached = run({u"--detach"_s, u"go"_s});
    EXPECT_EQ(detached.status, 1);
    EXPECT_TRUE(detached.out.contains(u"Only the application can go on without a terminal"_s));
}

TEST_F(ResidentCommands, ThereIsOneApplication) {
    begin();
    const auto second = ombru({u"--headless"_s});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.out, u"ombru is running already: `ombru status` tells about it.\n"_s);
    EXPECT_TRUE(m_application->isRunning());
}

TEST_F(ResidentCommands, AKilledApplicationIsStartedAgain) {
    begin();
    kill(SIGKILL);
    EXPECT_EQ(end(m_application).status, SIGKILL);
    EXPECT_TRUE(QFileInfo::exists(socket())) << "what it left behind";
    EXPECT_EQ(ombru({u"log"_s}).status, 1);
    begin();
    EXPECT_TRUE(ombru({u"status"_s}).out.contains(u"✓ application       running"_s));
}

TEST_F(ResidentCommands, WhileATaskOfTheWebPageRunsACommandsTaskIsRefused) {
    signInBefore();
    hang();
    begin();
    ASSERT_TRUE(connected());
    m_service.newest().sendText(R"({"type": "task", "text": "wait"})");
    const auto claude = claudePid();
    const auto refused = ombru({u"run"_s, u"another"_s});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(plain(refused.out).mid(0, 1), QStringList{u"you ❯ another"_s});
    EXPECT_TRUE(refused.out.contains(u"✗ Another task is running on this desktop."_s)) << refused.out.toStdString();
    EXPECT_TRUE(isAlive(claude)) << "it goes on";
    EXPECT_EQ(ombru({u"stop"_s}).status, 0);
    EXPECT_TRUE(waitUntil([&] { return !isAlive(claude); }));
}

TEST_F(ResidentCommands, CtrlCStopsTheTaskAndNotTheApplication) {
    begin();
    const auto process = startHanging();
    ::kill(client(), SIGINT);
    const auto ended = end(process);
    EXPECT_EQ(ended.status, 130);
    EXPECT_TRUE(ended.out.endsWith(u"cancelled\n"_s)) << ended.out.toStdString();
    EXPECT_TRUE(claudeIsGone());
    EXPECT_TRUE(m_application->isRunning());
}

TEST_F(ResidentCommands, AKilledCommandTakesItsTaskAlong) {
    begin();
    const auto process = startHanging();
    ::kill(client(), SIGKILL);
    EXPECT_EQ(end(process).status, SIGKILL);
    EXPECT_TRUE(claudeIsGone());
    EXPECT_TRUE(waitUntil([this] { return ombru({u"log"_s}).out.contains(u"cancelled"_s); }));
}

TEST_F(ResidentCommands, ATerminalThatGoesTakesItsTaskAlong) {
    begin();
    hang();
    Descriptor terminal(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    ASSERT_TRUE(terminal.isOpen() && ::grantpt(terminal.number()) == 0 && ::unlockpt(terminal.number()) == 0);
    const auto name = QString::fromLocal8Bit(::ptsname(terminal.number()));
    const auto process = shell(u"exec setsid --ctty --wait \"$OMBRU\" run wait <%1 >%1 2>&1"_s.arg(name));
    m_hanging = claudePid();
    terminal.close();
    end(process);
    EXPECT_TRUE(claudeIsGone());
    EXPECT_TRUE(m_application->isRunning());
}

TEST_F(ResidentCommands, ADetachedTaskGoesOnWithoutItsTerminal) {
    begin();
    hang();
    EXPECT_EQ(run({u"--detach"_s, u"wait"_s}).status, 0);
    m_hanging = claudePid();
    EXPECT_TRUE(isAlive(m_hanging));
    EXPECT_EQ(ombru({u"stop"_s}).out, u"The task has been stopped.\n"_s);
    EXPECT_TRUE(claudeIsGone());
}

TEST_F(ResidentCommands, AStoppedViewLeavesTheTaskAlone) {
    begin();
    playQuestions("echo $$ >\"$HOME/claude.pid\"; until [ -e \"$HOME/go\" ]; do sleep 0.05; done; "
                  "echo '{\"result\": \"DONE: 42\"}'");
    const auto process = shell(u"echo $$ >pid; exec \"$OMBRU\" run wait"_s);
    claudePid();
    ::kill(client(), SIGSTOP);
    m_scratch.write(u"go"_s, "");
    EXPECT_TRUE(waitUntil([this] { return ombru({u"log"_s}).out.contains(u"✓ 42"_s); })) << "it goes on";
    ::kill(client(), SIGCONT);
    const auto ended = end(process);
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(ended.out.contains(u"✓ 42"_s)) << ended.out.toStdString();
}

TEST_F(ResidentCommands, ATaskForAnotherDisplayIsNoneOfTheApplication) {
    begin();
    m_environment["DISPLAY"] = ":9876";
    const auto elsewhere = run({u"go"_s});
    EXPECT_EQ(elsewhere.status, 1);
    EXPECT_TRUE(elsewhere.out.contains(u"✗ screenshot failed"_s)) << elsewhere.out.toStdString();
    EXPECT_FALSE(ombru({u"log"_s}).out.contains(u"you ❯ go"_s));
}

TEST_F(ResidentCommands, AnApplicationThatEndsIsSaid) {
    begin();
    const auto process = startHanging();
    kill(SIGKILL);
    const auto ended = end(process);
    EXPECT_EQ(ended.status, 1);
    EXPECT_TRUE(ended.out.endsWith(u"The application has ended.\n"_s)) << ended.out.toStdString();
    EXPECT_TRUE(claudeIsGone());
}

TEST_F(ResidentCommands, ASignInWithoutTheApplicationStartsNothingElse) {
    m_poll = R"({"status": "ok", "token": "new"})";
    const auto ended = ombru({u"sign-in"_s});
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(ended.out.contains(u"Open https://host/verify and approve the code AB-CD\n"_s))
        << ended.out.toStdString();
    EXPECT_TRUE(ended.out.endsWith(u"signed in as ann@host\n"_s)) << ended.out.toStdString();
    EXPECT_EQ(contents(token()), "new");
    EXPECT_TRUE(m_service.channels.empty());
    EXPECT_EQ(ombru({u"sign-out"_s}).out, u"Signed out.\n"_s);
    EXPECT_FALSE(QFileInfo::exists(token()));
}

TEST_F(ResidentCommands, ASignInWithoutTheApplicationSaysEachThingOnce) {
    m_poll = R"({"status": "expired"})";
    m_environment["XDG_DATA_DIRS"] = m_scratch.directory().toUtf8(); // no browser
    const auto ended = ombru({u"sign-in"_s});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.out.count(u"Sign-in code expired — try again."_s), 1) << ended.out.toStdString();
    EXPECT_EQ(ended.out.count(u"https://host/verify"_s), 1) << ended.out.toStdString();
}

TEST_F(ResidentCommands, WhatCanBeReadOnTheWayIsSaidFirst) {
    const auto process = shell(u"echo $$ >pid; exec \"$OMBRU\" sign-in --server http://ombru.invalid"_s);
    const auto signIn = end(process);
    EXPECT_EQ(signIn.status, 1);
    EXPECT_TRUE(
        signIn.out.contains(u"http://ombru.invalid is not encrypted. Whoever is on the way can read the token"_s))
        << signIn.out.toStdString();
    EXPECT_TRUE(signIn.out.contains(u"✗ sign-in failed: "_s));
    EXPECT_EQ(ombru({u"settings"_s, u"serverURL"_s}).out, u"http://ombru.invalid\n"_s) << "the address is kept";
    const auto set = ombru({u"settings"_s, u"agentURL"_s, u"ws://ombru.invalid/agent"_s});
    EXPECT_EQ(set.status, 0);
    EXPECT_TRUE(set.out.startsWith(u"ws://ombru.invalid/agent is not encrypted."_s)) << set.out.toStdString();
    EXPECT_EQ(ombru({u"settings"_s, u"serverURL"_s, u"https://ombru.invalid"_s}).out, QString());
    const auto speech = ombru({u"settings"_s, u"speechURL"_s, u"http://ombru.invalid"_s});
    EXPECT_EQ(speech.status, 0);
    EXPECT_TRUE(
        speech.out.startsWith(u"http://ombru.invalid is not encrypted. Whoever is on the way can read the speech "
                              u"service's key"_s))
        << speech.out.toStdString();
    EXPECT_EQ(ombru({u"settings"_s, u"speechURL"_s, u"http://localhost:1"_s}).out, QString());
}

TEST_F(ResidentCommands, CtrlCCancelsASignIn) {
    const auto process = shell(u"echo $$ >pid; exec \"$OMBRU\" sign-in"_s);
    ASSERT_TRUE(waitUntil([this] { return m_service.requests.size() >= 2; }));
    ::kill(client(), SIGINT);
    EXPECT_EQ(end(process).status, 130);
    EXPECT_FALSE(QFileInfo::exists(token()));
}

TEST_F(ResidentCommands, AnotherUserCannotComeInEvenWhereTheFilesAreOpen) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    begin();
    for (QString place = socket(); place != u"/"_s && place != u"/tmp"_s; place = QFileInfo(place).path())
        QFile::setPermissions(place, QFile::permissions(place) | QFile::Permissions(0x0077));
    const auto stranger =
        end(shell(u"exec setpriv --reuid=65534 --clear-groups /usr/bin/python3 -c 'import socket; "
                  "s = socket.socket(socket.AF_UNIX); s.connect(\"%1\"); "
                  "s.send(b\"{\\\"do\\\": \\\"log\\\"}\\n\"); print(s.recv(1000).decode())'"_s.arg(socket())));
    EXPECT_TRUE(stranger.out.contains(u"This application is another user's."_s)) << stranger.out.toStdString();
}

TEST_F(ResidentCommands, AnApplicationThatDoesNotAnswerIsNamed) {
    begin();
    kill(SIGSTOP);
    const auto asking = shell(u"echo $$ >pid; exec \"$OMBRU\" stop"_s);
    QByteArray errors;
    EXPECT_TRUE(waitUntil([&] { return errors.append(asking->takeErrors()).contains("`kill -KILL "); }));
    EXPECT_EQ(::kill(client(), SIGINT), 0);
    EXPECT_EQ(end(asking).status, 130);
    kill(SIGCONT);
    EXPECT_EQ(ombru({u"log"_s}).status, 0) << "it goes on as before: " << errors.toStdString();
}

TEST_F(ResidentCommands, AScriptSignsNobodyInOrOut) {
    signInBefore();
    begin();
    ASSERT_TRUE(QFile::copy(u"/bin/sh"_s, m_scratch.path(u"osascript"_s)));
    const auto below = [&](const QString &line) {
        return end(shell(u"./osascript -c '\"$OMBRU\" %1; echo $?; true'"_s.arg(line)));
    };
    for (const auto &line :
         {u"sign-in --server http://elsewhere"_s, u"sign-out"_s, u"settings serverURL http://elsewhere"_s,
          u"settings agentURL ws://elsewhere"_s, u"settings certificateAuthority /tmp/other.pem"_s}) {
        const auto refused = below(line);
        EXPECT_TRUE(refused.out.contains(u"A script cannot change which service this computer belongs to"_s))
            << line.toStdString() << refused.out.toStdString();
        EXPECT_TRUE(refused.out.contains(u"1\n"_s));
    }
    for (const auto &line : {u"settings speechURL http://elsewhere"_s, u"settings callInterface any"_s}) {
        const auto refused = below(line);
        EXPECT_TRUE(refused.out.contains(u"A script cannot change who takes part in your calls"_s))
            << line.toStdString() << refused.out.toStdString();
        EXPECT_TRUE(refused.out.contains(u"1\n"_s));
    }
    EXPECT_TRUE(below(u"settings --reset stopKey"_s).out.contains(u"A script cannot change the keys that stop it"_s));
    EXPECT_EQ(contents(token()), "tok");
    EXPECT_TRUE(below(u"settings serverURL"_s).out.contains(m_service.base())) << "to read is no change";
    EXPECT_TRUE(below(u"settings maxSteps 3"_s).out.contains(u"0\n"_s));
}
