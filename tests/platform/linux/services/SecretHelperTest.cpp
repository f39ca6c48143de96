// The program that talks with the store for secrets, and what is made of one that does not work.
#include "platform/linux/services/SecretHelper.h"

#include "base/Helper.h"
#include "base/Process.h"
#include "platform/linux/services/SecretWire.h"
#include "tests/support/Keyring.h"
#include "tests/support/Processes.h"
#include "tests/support/SessionBus.h"

#include <thread>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString KEY = u"device-token"_s;
const QByteArray SECRET = "secret that nobody sees";

class SecretHelperTest : public testing::Test {
protected:
    SecretHelper helper(const QString &program, Clock::Duration limit = std::chrono::hours(1)) {
        return {program, KEY, Clock::now() + limit, [this](const QString &trouble) { m_troubles += trouble; }};
    }
    SecretHelper playing(const QByteArray &script) { return helper(m_scratch.script(u"ombru-secrets"_s, script)); }

    // That it counts as a store that cannot be used, whatever it is asked; gives what is told of it.
    QString unusable(const SecretHelper &broken) {
        EXPECT_EQ(broken.lookUp(), std::nullopt);
        EXPECT_EQ(broken.isThere(), std::nullopt);
        EXPECT_FALSE(broken.clearUnlocked());
        EXPECT_FALSE(broken.remove());
        EXPECT_FALSE(broken.store(SECRET));
        EXPECT_EQ(m_troubles.size(), 5);
        EXPECT_FALSE(m_troubles.join(u'\n').contains(QString::fromUtf8(SECRET)));
        return m_troubles.value(0);
    }

    Scratch m_scratch;
    QStringList m_troubles;
};

// The child of this process that runs that program; waits for it.
qint64 childRunning(const QString &program) {
    qint64 found = 0;
    waitUntil([&] {
        for (const QString &name : QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            const auto place = u"/proc/"_s + name;
            if (QFile::symLinkTarget(place + u"/exe"_s).endsWith(u'/' + program) &&
                contents(place + u"/status"_s).contains("\nPPid:\t" + QByteArray::number(::getpid()) + '\n'))
                found = name.toLongLong();
        }
        return found != 0;
    });
    return found;
}

} // namespace

TEST_F(SecretHelperTest, OneThatIsMissingIsAStoreThatCannotBeUsed) {
    const auto missing = helper(u"/nonexistent/ombru-secrets"_s);
    EXPECT_TRUE(missing.isInstalled()) << "else secrets would go to another place";
    EXPECT_TRUE(unusable(missing).startsWith(u"The store for secrets cannot be used: /nonexistent/ombru-secrets: "_s))
        << m_troubles.value(0).toStdString();
}

TEST_F(SecretHelperTest, OneThatIsKilledMidwayIsAStoreThatCannotBeUsed) {
    const auto killed = playing("printf 'yes\\nhalf a secr'; kill -9 $$");
    EXPECT_TRUE(killed.isInstalled());
    EXPECT_TRUE(unusable(killed).endsWith(u": it was ended by signal 9."_s)) << m_troubles.value(0).toStdString();
}

TEST_F(SecretHelperTest, OneThatSaysWhatMakesNoSenseIsAStoreThatCannotBeUsed) {
    for (const auto *words : {"printf garbage", "printf yes", "echo yesterday", "printf '\\nyes\\n'", ":"}) {
        m_troubles.clear();
        EXPECT_TRUE(unusable(playing(words)).endsWith(u": what it answered makes no sense."_s)) << words;
    }
}

TEST_F(SecretHelperTest, OneThatFailsIsAStoreThatCannotBeUsedWhateverItSays) {
    const auto failing = playing("cat >/dev/null; echo yes; exit 3");
    EXPECT_TRUE(unusable(failing).endsWith(u": it failed (3)."_s)) << m_troubles.value(0).toStdString();
}

// What the system's loader does.
TEST_F(SecretHelperTest, OneWhoseLibrariesAreMissingIsNotInstalledAndNoTrouble) {
    const auto incomplete = playing("exit 127");
    EXPECT_FALSE(incomplete.isInstalled());
    EXPECT_EQ(incomplete.lookUp(), std::nullopt);
    EXPECT_FALSE(incomplete.store(SECRET));
    EXPECT_TRUE(m_troubles.isEmpty()) << m_troubles.join(u'\n').toStdString();
}

TEST_F(SecretHelperTest, WhenTheTimeIsOverNobodyIsTold) {
    const auto hanging =
        helper(m_scratch.script(u"ombru-secrets"_s, "exec sleep 1000"), std::chrono::milliseconds(200));
    EXPECT_EQ(hanging.lookUp(), std::nullopt);
    EXPECT_EQ(hanging.isThere(), std::nullopt) << "it is over already";
    EXPECT_TRUE(m_troubles.isEmpty()) << m_troubles.join(u'\n').toStdString();
}

TEST_F(SecretHelperTest, WhatIsLookedUpIsTakenAsItIs) {
    EXPECT_EQ(playing("printf 'yes\\nno\\n\\000x'").lookUp(), QByteArray("no\n\0x", 5));
    EXPECT_EQ(playing("echo yes").lookUp(), QByteArray(""));
    EXPECT_EQ(playing("echo no").lookUp(), std::nullopt);
    EXPECT_EQ(playing("echo unknown").isThere(), std::nullopt);
    EXPECT_EQ(playing("echo no").isThere(), false);
    EXPECT_TRUE(m_troubles.isEmpty()) << m_troubles.join(u'\n').toStdString();
}

TEST_F(SecretHelperTest, ASecretIsNeitherInTheArgumentsNorInTheEnvironmentOfTheRealOne) {
    const QTemporaryDir home;
    const SessionBus bus;
    const Keyring keyring(home);
    const auto ours = helper(SecretHelper::ours());
    keyring.signal(SIGSTOP); // so that it is there to be looked at
    bool kept = false;
    {
        const std::jthread storing([&] { kept = ours.store(SECRET); });
        const auto process = childRunning(u"ombru-secrets"_s);
        EXPECT_NE(process, 0);
        const auto place = u"/proc/%1/"_s.arg(process);
        const auto arguments = contents(place + u"cmdline"_s);
        EXPECT_TRUE(arguments.contains("device-token")) << arguments.toStdString();
        EXPECT_FALSE(arguments.contains(SECRET));
        const auto environment = contents(place + u"environ"_s);
        EXPECT_TRUE(environment.contains("DBUS_SESSION_BUS_ADDRESS="));
        EXPECT_FALSE(environment.contains(SECRET));
        keyring.signal(SIGCONT);
    }
    EXPECT_TRUE(kept);
    EXPECT_EQ(ours.lookUp(), SECRET);
    EXPECT_TRUE(m_troubles.isEmpty()) << m_troubles.join(u'\n').toStdString();
}

// Whoever sent it has died.
TEST_F(SecretHelperTest, TheRealOneStoresNothingThatHasNotComeWhole) {
    const QTemporaryDir home;
    const SessionBus bus;
    const Keyring keyring(home);
    for (const QByteArray &sent : {"10\nhalf", "", "10", "x\nten bytes.", "4\nmore than four"}) {
        const auto answer = callHelper(
            {.program = SecretHelper::ours(), .arguments = {QLatin1StringView(secrets::STORE), KEY}, .input = sent});
        ASSERT_TRUE(answer);
        EXPECT_NE(answer->status, 0) << sent.toStdString();
        EXPECT_EQ(answer->output, "");
    }
    EXPECT_EQ(helper(SecretHelper::ours()).isThere(), false);
}

// The owner's question goes on, whoever is stopped.
TEST_F(SecretHelperTest, TheRealOneIsNotStoppedWithTheScriptThatHasItAsk) {
    Process::setKeeper(qEnvironmentVariable("OMBRU_BIN") + u"/ombru-keeper"_s);
    const SessionBus bus;
    bus.signal(SIGSTOP); // so that it asks for ever
    auto lifeline = makePipe();
    ASSERT_TRUE(lifeline);
    const QByteArray mark = "OMBRU_SECRET_HELPER_TEST=" + m_scratch.directory().toUtf8();
    auto environment = ownEnvironment();
    environment["OMBRU_SECRET_HELPER_TEST"] = m_scratch.directory().toUtf8();
    const auto script =
        Process::make({.program = u"/bin/sh"_s,
                       .arguments = {u"-c"_s, u"\"$0\" look-up device-token & exec sleep 1000"_s, SecretHelper::ours()},
                       .environment = environment,
                       .inherited = {lifeline->reading.number()}});
    ASSERT_TRUE(script->start());
    const auto running = [&](const QString &program) {
        for (const qint64 pid : processesMarked(mark))
            if (QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid)).endsWith(u'/' + program))
                return pid;
        return qint64(0);
    };
    ASSERT_TRUE(waitUntil([&] { return running(u"ombru-secrets"_s) != 0 && running(u"sleep"_s) != 0; }));
    Process::stopAll();
    EXPECT_TRUE(waitUntil([&] { return isStopped(running(u"sleep"_s)); }));
    EXPECT_FALSE(isStopped(running(u"ombru-secrets"_s)));
    Process::continueAll();
    script->terminate();
    await(script->ended());
    Process::setKeeper({});
}

TEST_F(SecretHelperTest, TheRealOneDoesNothingForWhoeverHasNoLifelineOrAsksSomethingElse) {
    const auto typed =
        callHelper({.program = u"/bin/sh"_s,
                    .arguments = {u"-c"_s, u"exec \"$0\" look-up device-token 3<&-"_s, SecretHelper::ours()}});
    ASSERT_TRUE(typed);
    EXPECT_EQ(typed->status, 2);
    EXPECT_EQ(typed->output, "");
    EXPECT_TRUE(typed->errors.contains("for ombru to start"));
    const SessionBus bus;
    for (const auto &arguments : {QStringList(), QStringList{u"print"_s, KEY}}) {
        const auto asked = callHelper({.program = SecretHelper::ours(), .arguments = arguments});
        ASSERT_TRUE(asked);
        EXPECT_EQ(asked->status, 2);
        EXPECT_EQ(asked->output, "");
    }
}
