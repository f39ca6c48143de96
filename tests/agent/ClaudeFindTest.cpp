#include "tests/agent/ClaudeFixture.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::await;

namespace {

class ClaudeFindTest : public test::ClaudeTest {
protected:
    // An executable file at that path below the home directory.
    QString place(const QString &path) const {
        QDir().mkpath(QFileInfo(home() + u'/' + path).path());
        return m_scratch.script(path, "exit 0");
    }
    // The owner's shell, as a script; what it is asked comes as its arguments.
    void shell(const QByteArray &body) const {
        FakePlatform::instance().ownerShell = {m_scratch.script(u"shell"_s, body), u"whence -p"_s};
    }
};

} // namespace

TEST_F(ClaudeFindTest, TheUsualPlacesAreSixInThisOrder) {
    EXPECT_EQ(Claude::usualPlaces(),
              (QStringList{home() + u"/.local/bin/claude"_s, home() + u"/.claude/local/claude"_s,
                           u"/opt/homebrew/bin/claude"_s, u"/usr/local/bin/claude"_s,
                           home() + u"/.npm-global/bin/claude"_s, home() + u"/.bun/bin/claude"_s}));
}

TEST_F(ClaudeFindTest, TakesTheFirstOfTheUsualPlaces) {
    const auto last = place(u".bun/bin/claude"_s);
    EXPECT_EQ(await(Claude::findBinary()), systemWide().value_or(last));
    const auto npm = place(u".npm-global/bin/claude"_s);
    EXPECT_EQ(await(Claude::findBinary()), systemWide().value_or(npm));
    const auto second = place(u".claude/local/claude"_s);
    EXPECT_EQ(await(Claude::findBinary()), second);
    const auto first = place(u".local/bin/claude"_s);
    EXPECT_EQ(await(Claude::findBinary()), first);
}

TEST_F(ClaudeFindTest, ADirectoryOrAFileThatIsNotExecutableIsPassedOver) {
    QDir().mkpath(binary());
    QDir().mkpath(home() + u"/.claude/local"_s);
    m_scratch.write(u".claude/local/claude"_s, "#!/bin/sh\n");
    const auto usable = place(u".bun/bin/claude"_s);
    EXPECT_EQ(await(Claude::findBinary()), systemWide().value_or(usable));
}

TEST_F(ClaudeFindTest, AsksTheOwnersShellLast) {
    const auto odd = place(u"odd place/claude"_s);
    shell("echo '" + odd.toUtf8() + "'");
    EXPECT_EQ(await(Claude::findBinary()), systemWide().value_or(odd));
    EXPECT_EQ(await(Claude::shellLookup()), odd);
}

TEST_F(ClaudeFindTest, NothingFoundIsNone) {
    shell("exit 1");
    EXPECT_EQ(await(Claude::findBinary()), systemWide());
    FakePlatform::instance().ownerShell = {};
    EXPECT_EQ(await(Claude::shellLookup()), std::nullopt);
    FakePlatform::instance().ownerShell = {u"/no/such/shell"_s, u"whence -p"_s};
    EXPECT_EQ(await(Claude::shellLookup()), std::nullopt);
}

TEST_F(ClaudeFindTest, TheShellIsAnInteractiveLoginShellThatIsAskedForTheTool) {
    shell("for word; do echo \"[$word]\"; done > " + m_scratch.path(u"asked"_s).toUtf8());
    await(Claude::shellLookup());
    EXPECT_EQ(test::contents(m_scratch.path(u"asked"_s)), "[-ilc]\n[whence -p claude]\n");
}

TEST_F(ClaudeFindTest, TheSystemsShellFindsWhatIsInItsPath) {
    const auto hidden = place(u"own tools/claude"_s);
    m_scratch.write(u".profile"_s, "echo welcome; PATH=\"$HOME/own tools:$PATH\"\n");
    FakePlatform::instance().ownerShell = {u"/bin/sh"_s, u"command -v"_s};
    EXPECT_EQ(await(Claude::shellLookup()), hidden);
}

TEST_F(ClaudeFindTest, ZshFindsWhatItsInteractiveStartFilesAddToThePath) {
    qunsetenv("ZDOTDIR"); // where else the start files could be
    const auto hidden = place(u"own tools/claude"_s);
    m_scratch.write(u".zshrc"_s, "echo welcome; alias claude='npx claude'; path=(\"$HOME/own tools\" $path)\n");
    FakePlatform::instance().ownerShell = {u"/bin/zsh"_s, u"whence -p"_s};
    EXPECT_EQ(await(Claude::shellLookup()), hidden);
}

TEST_F(ClaudeFindTest, AToolThatTheShellFoundRunsWithTheShellsPath) {
    QDir().mkpath(home() + u"/own tools"_s);
    m_scratch.script(u"own tools/own-node"_s, "echo \"by own-node: $2\"");
    m_scratch.write(u"own tools/claude"_s, "#!/usr/bin/env own-node\n", QFile::ExeOwner);
    m_scratch.write(u".profile"_s, "echo welcome; PATH=\"$HOME/own tools:$PATH\"\n");
    const auto found = await(Claude::shellLookup());
    ASSERT_EQ(found, home() + u"/own tools/claude"_s);
    EXPECT_EQ(await(Claude::runQuick(*found, {u"hello"_s})), u"by own-node: hello\n"_s);
    EXPECT_TRUE(Claude::toolEnvironment(binary()).at("PATH").startsWith(home().toUtf8() + "/.local/bin:/opt"))
        << "one in a usual place has the usual one";
}

TEST_F(ClaudeFindTest, WhatIsNoExecutableFileIsNotTaken) {
    shell("echo 'claude: aliased to npx claude'");
    EXPECT_EQ(await(Claude::shellLookup()), std::nullopt);
    shell("echo claude");
    EXPECT_EQ(await(Claude::shellLookup()), std::nullopt);
    shell("echo " + home().toUtf8());
    EXPECT_EQ(await(Claude::shellLookup()), std::nullopt);
    shell("echo /no/such/claude");
    EXPECT_EQ(await(Claude::shellLookup()), std::nullopt);
    shell("head -c 100000 /dev/urandom");
    EXPECT_EQ(await(Claude::shellLookup()), std::nullopt);
    shell("exec yes /");
    EXPECT_EQ(await(Claude::shellLookup()), std::nullopt);
}

TEST_F(ClaudeFindTest, AShellThatHangsIsEndedAfterFiveSeconds) {
    ManualClock clock;
    shell("trap '' TERM; echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() + "; while :; do sleep 0.05; done");
    const auto answer = std::make_shared<std::optional<std::optional<QString>>>();
    const auto kept = test::keep(Claude::shellLookup(), answer);
    const auto pid = test::pidIn(m_scratch.path(u"pid"_s));
    clock.advance(4999ms);
    test::settle();
    EXPECT_FALSE(*answer);
    clock.advance(1ms);
    test::settle();
    clock.advance(2s);
    ASSERT_TRUE(test::waitUntil([&] { return answer->has_value(); }));
    EXPECT_EQ(**answer, std::nullopt);
    EXPECT_FALSE(test::isAlive(pid));
}

TEST_F(ClaudeFindTest, AStopEndsTheShell) {
    std::stop_source stop;
    shell("echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() + "; exec sleep 1000");
    const auto answer = std::make_shared<std::optional<std::optional<QString>>>();
    const auto kept = test::keep(Claude::shellLookup(stop.get_token()), answer);
    const auto pid = test::pidIn(m_scratch.path(u"pid"_s));
    stop.request_stop();
    ASSERT_TRUE(test::waitUntil([&] { return answer->has_value(); }));
    EXPECT_EQ(**answer, std::nullopt);
    EXPECT_FALSE(test::isAlive(pid));
}
