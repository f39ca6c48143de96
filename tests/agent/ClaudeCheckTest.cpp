#include "tests/agent/ClaudeFixture.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Claude::State;
using test::await;

namespace {

class ClaudeCheckTest : public test::ClaudeTest {
protected:
    State check() { return await(Claude::check()); }
    template <class Kind>
    void expectTrouble(const State &state, const QString &trouble) {
        const auto *kind = std::get_if<Kind>(&state);
        ASSERT_TRUE(kind);
        EXPECT_TRUE(kind->trouble.contains(trouble)) << kind->trouble.toStdString();
    }
    void expectUnusable(const State &state, const QString &trouble) {
        expectTrouble<Claude::Outdated>(state, trouble);
        if (const auto *outdated = std::get_if<Claude::Outdated>(&state))
            EXPECT_EQ(outdated->missing, Claude::requiredFlags);
    }
    QByteArray runs() const { return test::contents(m_scratch.path(u"runs"_s)); }
    QByteArray noteRun() const { return "echo run >> " + m_scratch.path(u"runs"_s).toUtf8() + "; "; }
    static void setModified(const QString &path, const QDateTime &time) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadWrite));
        EXPECT_TRUE(file.setFileTime(time, QFile::FileModificationTime));
    }
};

} // namespace

TEST_F(ClaudeCheckTest, ASignedInToolIsReady) {
    toolWithStatus(R"({"loggedIn": true, "email": "owner@example.com", "plan": "max"})");
    EXPECT_EQ(check(), State(Claude::Ready{u"owner@example.com"_s}));
}

TEST_F(ClaudeCheckTest, TheAddressMayBeAbsent) {
    toolWithStatus(R"({"loggedIn": true})");
    EXPECT_EQ(check(), State(Claude::Ready{}));
    toolWithStatus(R"({"loggedIn": true, "email": null})");
    EXPECT_EQ(check(), State(Claude::Ready{}));
}

TEST_F(ClaudeCheckTest, SignedOutIsToldWhateverTheExitStatus) {
    tool("case $1 in --help) echo '" + help() + "';; *) echo '{\"loggedIn\": false}'; exit 1;; esac");
    EXPECT_EQ(check(), State(Claude::SignedOut{}));
}

TEST_F(ClaudeCheckTest, AsksForTheStatusAsJson) {
    tool("case $1 in --help) echo '" + help() +
         "';; *) [ \"$*\" = 'auth status --json' ] && echo '{\"loggedIn\":true}';; esac");
    EXPECT_EQ(check(), State(Claude::Ready{}));
}

TEST_F(ClaudeCheckTest, AnUnusableAnswerIsUnknown) {
    for (const QByteArray answer :
         {"", "Not logged in", "[true]", "{\"loggedIn\": \"yes\"}", "{}", "{\"loggedIn\": tr"}) {
        toolWithStatus(answer);
        expectTrouble<Claude::Unknown>(check(), u"instead of whether it is signed in"_s);
    }
    tool("case $1 in --help) echo '" + help() + "';; *) head -c 1000000 /dev/urandom;; esac");
    expectTrouble<Claude::Unknown>(check(), u"instead of whether it is signed in"_s);
    tool("case $1 in --help) echo '" + help() + "';; *) exec yes '{';; esac");
    expectTrouble<Claude::Unknown>(check(), u"it printed more than 16 MB and was ended"_s);
    tool("case $1 in --help) echo '" + help() + "';; *) kill -9 $$;; esac");
    expectTrouble<Claude::Unknown>(check(), u"was ended by signal 9: "_s);
}

TEST_F(ClaudeCheckTest, NoToolIsMissing) {
    FakePlatform::instance().ownerShell = {};
    if (!systemWide())
        EXPECT_EQ(check(), State(Claude::Missing{}));
    EXPECT_EQ(await(Claude::findBinary()), systemWide());
}

TEST_F(ClaudeCheckTest, AToolThatLacksAFlagIsOutdatedInExactlyThat) {
    tool("echo '--print --output-format --tools --append-system-prompt --resume'");
    EXPECT_EQ(check(), State(Claude::Outdated{{u"--allowedTools"_s}, {}}));
}

TEST_F(ClaudeCheckTest, NoHelpTextMeansThatEveryFlagIsMissing) {
    tool("exit 1");
    expectUnusable(check(), u"printed nothing instead of its help, and ended with status 1."_s);
    toolFile("\x7f"
             "ELF garbage");
    expectUnusable(check(), u"is no program for this computer"_s);
    toolFile("#!/no/such/interpreter\n");
    expectUnusable(check(), u"needs /no/such/interpreter, which is not found."_s);
}

TEST_F(ClaudeCheckTest, AToolThatDoesNotWorkIsNotCalledTooOld) {
    tool("echo 'It is a lovely day'");
    expectUnusable(check(), u"printed “It is a lovely day” instead of its help"_s);
    tool("kill -SEGV $$");
    expectUnusable(check(), u"was ended by signal 11: it crashed"_s);
    toolFile("#!/usr/bin/env no-such-node\n");
    expectUnusable(check(), u"needs no-such-node, which is not found."_s);
    tool("echo '--print --output-format --tools --append-system-prompt --resume'");
    EXPECT_EQ(check(), State(Claude::Outdated{{u"--allowedTools"_s}, {}}));
}

TEST_F(ClaudeCheckTest, AToolThatMayNotBeExecutedOrLeadsNowhereIsMissingAndNamed) {
    FakePlatform::instance().ownerShell = {};
    if (systemWide())
        return;
    m_scratch.write(u".local/bin/claude"_s, "#!/bin/sh\n");
    EXPECT_EQ(check(),
              State(Claude::Missing{binary() + u" may not be executed. `chmod +x "_s + binary() + u"` allows it."_s}));
    QFile::remove(binary());
    QFile::link(u"/no/such/place"_s, binary());
    expectTrouble<Claude::Missing>(check(), u" leads to /no/such/place, which is not there."_s);
}

TEST_F(ClaudeCheckTest, TheFlagsAreLookedUpAgainOnlyWhenTheFileChanges) {
    tool(noteRun() + "exit 1");
    const auto date = QFileInfo(binary()).lastModified();
    EXPECT_EQ(await(Claude::missingFlags(binary())), Claude::requiredFlags);
    EXPECT_EQ(await(Claude::missingFlags(binary())), Claude::requiredFlags);
    EXPECT_EQ(runs(), "run\n");

    // Replaced, but with the date of the one before: the answer stays.
    tool(noteRun() + "echo '" + help() + "'");
    setModified(binary(), date);
    EXPECT_EQ(await(Claude::missingFlags(binary())), Claude::requiredFlags);
    EXPECT_EQ(runs(), "run\n");

    setModified(binary(), date.addSecs(1));
    EXPECT_EQ(await(Claude::missingFlags(binary())), QStringList());
    EXPECT_EQ(await(Claude::missingFlags(binary())), QStringList());
    EXPECT_EQ(runs(), "run\nrun\n");
}

TEST_F(ClaudeCheckTest, TheFlagsOfAnotherPathAreLookedUp) {
    tool("echo '" + help() + "'");
    EXPECT_EQ(await(Claude::missingFlags(binary())), QStringList());
    const auto other = m_scratch.script(u"other"_s, "exit 0");
    EXPECT_EQ(await(Claude::missingFlags(other)), Claude::requiredFlags);
    EXPECT_EQ(await(Claude::missingFlags(binary())), QStringList());
}

TEST_F(ClaudeCheckTest, TheFlagsOfAnotherPathWithTheSameDateAreLookedUp) {
    tool("echo '" + help() + "'");
    EXPECT_EQ(await(Claude::missingFlags(binary())), QStringList());
    const auto other = m_scratch.script(u"other"_s, "exit 0");
    setModified(other, QFileInfo(binary()).lastModified());
    EXPECT_EQ(await(Claude::missingFlags(other)), Claude::requiredFlags);
}

TEST_F(ClaudeCheckTest, AToolDeletedOrReplacedBetweenChecksIsNoticed) {
    FakePlatform::instance().ownerShell = {};
    toolWithStatus(R"({"loggedIn": true, "email": "a@b"})");
    EXPECT_EQ(check(), State(Claude::Ready{u"a@b"_s}));
    QFile::remove(binary());
    if (!systemWide())
        EXPECT_EQ(check(), State(Claude::Missing{}));
    QDir().mkpath(binary());
    if (!systemWide())
        EXPECT_EQ(check(), State(Claude::Missing{}));
}

TEST_F(ClaudeCheckTest, QuickRunsGetTheToolsEnvironmentAndNoInput) {
    const auto script = m_scratch.script(u"probe"_s, "echo \"$PATH|$HOME\"; readlink /proc/self/fd/0");
    EXPECT_EQ(await(Claude::runQuick(script, {})),
              home() + u"/.local/bin:/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin|"_s + home() + u"\n/dev/null\n"_s);
}

TEST_F(ClaudeCheckTest, AQuickRunThatCannotStartGivesNone) {
    EXPECT_EQ(await(Claude::runQuick(u"/no/such/claude"_s, {u"--help"_s})), std::nullopt);
    EXPECT_EQ(await(Claude::runQuick(home(), {u"--help"_s})), std::nullopt);
}

TEST_F(ClaudeCheckTest, AHungToolIsEndedAfterTenSecondsWithAllItStarted) {
    ManualClock clock;
    tool("trap '' TERM; (trap '' TERM; while :; do sleep 0.05; done) & echo $! > " +
         m_scratch.path(u"child"_s).toUtf8() + "; echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() +
         "; while :; do sleep 0.05; done");
    const auto state = std::make_shared<std::optional<State>>();
    const auto kept = test::keep(Claude::check(), state);
    const auto pid = test::pidIn(m_scratch.path(u"pid"_s));
    const auto child = test::pidIn(m_scratch.path(u"child"_s));
    clock.advance(9999ms);
    test::settle();
    EXPECT_FALSE(*state);
    clock.advance(1ms);
    test::settle();
    clock.advance(2s);
    ASSERT_TRUE(test::waitUntil([&] { return state->has_value(); }));
    expectUnusable(**state, u"hangs: no answer within 10 s."_s);
    EXPECT_TRUE(test::waitUntil([&] { return !test::isAlive(pid) && !test::isAlive(child); }));
}

TEST_F(ClaudeCheckTest, AHungSignInCheckIsUnknown) {
    ManualClock clock;
    tool("case $1 in --help) echo '" + help() + "';; *) echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() +
         "; exec sleep 1000;; esac");
    const auto state = std::make_shared<std::optional<State>>();
    const auto kept = test::keep(Claude::check(), state);
    const auto pid = test::pidIn(m_scratch.path(u"pid"_s));
    clock.advance(10s);
    ASSERT_TRUE(test::waitUntil([&] { return state->has_value(); }));
    expectTrouble<Claude::Unknown>(**state, u"hangs: no answer within 10 s."_s);
    EXPECT_FALSE(test::isAlive(pid));
}

TEST_F(ClaudeCheckTest, AStoppedCheckEndsTheToolAndIsNotRemembered) {
    std::stop_source stop;
    tool("echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() + "; [ -e " + m_scratch.path(u"second"_s).toUtf8() +
         " ] || exec sleep 1000; echo '" + help() + "'");
    const auto missing = std::make_shared<std::optional<QStringList>>();
    const auto kept = test::keep(Claude::missingFlags(binary(), stop.get_token()), missing);
    const auto pid = test::pidIn(m_scratch.path(u"pid"_s));
    stop.request_stop();
    ASSERT_TRUE(test::waitUntil([&] { return missing->has_value(); }));
    EXPECT_FALSE(test::isAlive(pid));
    m_scratch.write(u"second"_s, {});
    EXPECT_EQ(await(Claude::missingFlags(binary())), QStringList());
}
