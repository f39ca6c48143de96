#include "base/Text.h"
#include "tests/agent/ClaudeFixture.h"

#include <cerrno>

using namespace ombru;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using Claude::Question;
using Claude::Reply;
using test::await;

namespace {

class ClaudeAskTest : public test::ClaudeTest {
protected:
    Question question(const QString &prompt = u"hello"_s) const {
        return {binary(), prompt, u"be brief"_s, std::nullopt, QString(), home()};
    }
    using Asked = std::expected<Reply, ToolFailure>;
    Asked ask(const Question &question) { return await(Claude::ask(question, m_call)); }
    ToolFailure failed(const Question &question) {
        const auto reply = ask(question);
        EXPECT_FALSE(reply);
        return reply ? ToolFailure{} : reply.error();
    }
    // The failure's second line, of a tool that is this script.
    QString causeOf(const QByteArray &body) {
        tool(body);
        return failed(question()).cause;
    }
    std::shared_ptr<std::optional<Asked>> begin() {
        const auto reply = std::make_shared<std::optional<Asked>>();
        m_begun.push_back(test::keep(Claude::ask(question(), m_call), reply));
        return reply;
    }

    std::shared_ptr<Claude::Call> m_call = std::make_shared<Claude::Call>();
    std::vector<Task<>> m_begun;
};

Collected printed(const QByteArray &out, const QByteArray &err = {}, int status = 0) {
    return {out, err, status};
}

Failure claudeFailure(const QString &description) {
    return {u"claude"_s, 1, description};
}

} // namespace

TEST(ClaudeArguments, AreTenWithoutSessionAndModel) {
    const Question question{u"/x/claude"_s, u"look"_s, u"be brief"_s, std::nullopt, QString(), u"/w"_s};
    EXPECT_EQ(Claude::arguments(question),
              QStringList({u"-p"_s, u"look"_s, u"--output-format"_s, u"json"_s, u"--tools"_s, u"Read"_s,
                           u"--allowedTools"_s, u"Read"_s, u"--append-system-prompt"_s, u"be brief"_s}));
}

TEST(ClaudeArguments, EndWithTheSessionAndThenTheModel) {
    Question question{u"/x/claude"_s, u"look"_s, u"be brief"_s, u"s1"_s, u"opus"_s, u"/w"_s};
    EXPECT_EQ(Claude::arguments(question).sliced(10), QStringList({u"--resume"_s, u"s1"_s, u"--model"_s, u"opus"_s}));
    question.sessionID.reset();
    EXPECT_EQ(Claude::arguments(question).sliced(10), QStringList({u"--model"_s, u"opus"_s}));
}

TEST(ClaudeReply, IsTheResultWithItsSession) {
    const auto reply = Claude::replyOf(printed(R"({"result": "DONE: é\n\ud83d\ude80", "session_id": "s1", "x": [1]})"));
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->text, u"DONE: é\n🚀"_s);
    EXPECT_EQ(reply->sessionID, u"s1"_s);
}

TEST(ClaudeReply, TheSessionMayBeAbsentAndTheResultEmpty) {
    const auto reply = Claude::replyOf(printed(R"({"result": "", "is_error": false})", "a warning", 1));
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->text, QString());
    EXPECT_EQ(reply->sessionID, std::nullopt);
}

TEST(ClaudeReply, AnErrorOfTheToolIsAFailureWithItsText) {
    const auto reply = Claude::replyOf(printed(R"({"is_error": true, "result": "Invalid API key"})", "noise", 1));
    ASSERT_FALSE(reply);
    EXPECT_EQ(reply.error(), claudeFailure(u"claude error: Invalid API key"_s));
}

TEST(ClaudeReply, OtherOutputIsAFailureWithItsFirstCharacters) {
    const QByteArray family = "\xF0\x9F\x91\xA8\xE2\x80\x8D\xF0\x9F\x91\xA9"; // one character of three code points
    const auto reply = Claude::replyOf(printed(family.repeated(500)));
    ASSERT_FALSE(reply);
    EXPECT_EQ(reply.error(), claudeFailure(u"claude failed: "_s + QString::fromUtf8(family).repeated(400)));
}

TEST(ClaudeReply, TheErrorOutputGoesBeforeTheOutput) {
    const auto reply = Claude::replyOf(printed("Usage: ...", "error: unknown option\n", 1));
    ASSERT_FALSE(reply);
    EXPECT_EQ(reply.error().description, u"claude failed: error: unknown option\n"_s);
}

TEST(ClaudeReply, WhatIsNotTheExpectedObjectIsAFailure) {
    for (const QByteArray out : {"[]", "\"text\"", "{}", R"({"result": 5})", R"({"is_error": true})",
                                 R"({"result": "cut o)", R"(warning {"result": "x"})", R"({"result": "x"} trailing)"}) {
        const auto reply = Claude::replyOf(printed(out));
        ASSERT_FALSE(reply) << out.toStdString();
        EXPECT_EQ(reply.error(), claudeFailure(u"claude failed: "_s + QString::fromUtf8(out)));
    }
}

TEST(ClaudeReply, BrokenBytesAreRepaired) {
    const auto reply = Claude::replyOf(printed({}, "bad \xFF\xFE byte", 1));
    ASSERT_FALSE(reply);
    EXPECT_EQ(reply.error().description, u"claude failed: bad \uFFFD\uFFFD byte"_s);
}

TEST(ClaudeReply, SilenceIsAFailureThatTellsTheStatus) {
    const auto reply = Claude::replyOf(printed({}, {}, 9));
    ASSERT_FALSE(reply);
    EXPECT_EQ(reply.error(), claudeFailure(u"claude failed: it ended with status 9 and printed nothing"_s));
}

TEST_F(ClaudeAskTest, PassesEverythingToTheTool) {
    tool("{ for word; do echo \"[$word]\"; done; pwd; echo \"$PATH\"; echo \"$OMBRU_TEST_VARIABLE\"; "
         "readlink /proc/self/fd/0; } > " +
         m_scratch.path(u"seen"_s).toUtf8() + "; echo '{\"result\": \"ok\", \"session_id\": \"s2\"}'");
    qputenv("OMBRU_TEST_VARIABLE", "kept");
    auto full = question(u"USER TASK: it's \"here\" $HOME\n-line 🚀"_s);
    full.sessionID = u"s1"_s;
    full.model = u"opus"_s;
    const auto reply = ask(full);
    qunsetenv("OMBRU_TEST_VARIABLE");
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->text, u"ok"_s);
    EXPECT_EQ(reply->sessionID, u"s2"_s);
    EXPECT_EQ(
        QString::fromUtf8(test::contents(m_scratch.path(u"seen"_s))),
        u"[-p]\n[USER TASK: it's \"here\" $HOME\n-line 🚀]\n[--output-format]\n[json]\n[--tools]\n[Read]\n"
        "[--allowedTools]\n[Read]\n[--append-system-prompt]\n[be brief]\n[--resume]\n[s1]\n[--model]\n[opus]\n"_s +
            home() + u"\n"_s + home() +
            u"/.local/bin:/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin\nkept\n/dev/null\n"_s);
}

TEST_F(ClaudeAskTest, AReplyOfFiveMegabytesArrivesWhole) {
    m_scratch.write(u"reply"_s, "{\"result\": \"" + QByteArray("é\\n").repeated(1'250'000) + "\"}");
    tool("exec cat " + m_scratch.path(u"reply"_s).toUtf8());
    const auto reply = ask(question());
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->text, u"é\n"_s.repeated(1'250'000));
}

TEST_F(ClaudeAskTest, OutputWithoutEndIsAFailureAndEndsTheTool) {
    tool("exec yes");
    EXPECT_EQ(failed(question()).description, u"couldn't run claude: it printed more than 256 MB and was ended"_s);
}

TEST_F(ClaudeAskTest, AToolThatDiesIsAFailure) {
    tool("echo 'Segmentation fault' >&2; kill -SEGV $$");
    EXPECT_EQ(failed(question()).description, u"claude failed: Segmentation fault\n"_s);
}

TEST_F(ClaudeAskTest, AToolDeletedBetweenTurnsIsAFailureThatNamesIt) {
    tool("echo '{\"result\": \"ok\"}'");
    EXPECT_TRUE(ask(question()));
    QFile::remove(binary());
    EXPECT_EQ(failed(question()),
              (Failure{u"claude"_s, ENOENT, u"couldn't run claude: "_s + binary() + u": No such file or directory"_s}));
}

TEST_F(ClaudeAskTest, AToolReplacedBetweenTurnsIsTheOneThatRuns) {
    tool("echo '{\"result\": \"old\"}'");
    EXPECT_EQ(ask(question())->text, u"old"_s);
    tool("echo '{\"result\": \"new\"}'");
    EXPECT_EQ(ask(question())->text, u"new"_s);
    m_scratch.write(u".local/bin/claude"_s,
                    "\x7f"
                    "ELF half a download",
                    QFile::ExeOwner);
    EXPECT_EQ(failed(question()).code, ENOEXEC);
    m_scratch.write(u".local/bin/claude"_s, "#!/bin/sh\n");
    EXPECT_EQ(failed(question()).code, EACCES);
}

TEST_F(ClaudeAskTest, AMissingWorkDirectoryIsAFailureThatNamesIt) {
    tool("echo '{\"result\": \"ok\"}'");
    auto lost = question();
    lost.workDir = u"/no/such/directory"_s;
    EXPECT_EQ(failed(lost).description,
              u"couldn't run claude: the directory /no/such/directory: No such file or directory"_s);
}

TEST_F(ClaudeAskTest, AMessageTooLongForTheSystemIsAFailureThatSaysSo) {
    tool("echo '{\"result\": \"ok\"}'");
    EXPECT_EQ(
        failed(question(QString(3'000'000, u'x'))).description,
        u"the message to claude is 3000 kB long, more than this system passes to a program in one piece; shorten it"_s);
    auto preacher = question();
    preacher.systemPrompt = QString(3'000'000, u'x');
    EXPECT_EQ(
        failed(preacher).description,
        u"the system prompt is 3000 kB long, more than this system passes to a program in one piece; shorten it"_s);
}

TEST_F(ClaudeAskTest, TheCauseNamesTheSignalThatEndedTheTool) {
    EXPECT_EQ(causeOf("kill -KILL $$"),
              binary() + u" was ended by signal 9: something killed it, often for want of memory"_s);
    EXPECT_EQ(causeOf("echo 'Segmentation fault' >&2; kill -SEGV $$"),
              binary() + u" was ended by signal 11: it crashed"_s);
}

TEST_F(ClaudeAskTest, TheCauseSaysThatAReplyWasCutOff) {
    EXPECT_EQ(causeOf("printf '{\"result\": \"'; head -c 1500000 /dev/zero | tr '\\0' x"),
              binary() +
                  u" ended before it had written all; the reply was cut off after 1501 kB. Give the task again."_s);
    EXPECT_TRUE(causeOf("printf '{\"result\": \"a}'").contains(u"the reply was cut off after 1 kB"_s));
    const auto killed = causeOf("printf '{\"result\": \"half'; kill -TERM $$");
    EXPECT_TRUE(killed.contains(u"signal 15: somebody asked it to end; the reply was cut off"_s))
        << killed.toStdString();
    EXPECT_EQ(causeOf("echo '{\"is_error\": true, \"result\": \"no credit\"}'"), QString()) << "its own words say it";
}

TEST_F(ClaudeAskTest, TheCauseSaysThatWhatWasPrintedIsNoReply) {
    EXPECT_EQ(causeOf("echo; echo 'Welcome to the jungle'"),
              binary() + u" printed “Welcome to the jungle” instead of a reply, and ended with status 0. Try it in a "
                         "terminal."_s);
    EXPECT_TRUE(causeOf("head -c 100000 /dev/urandom").contains(u"instead of a reply"_s));
    EXPECT_TRUE(causeOf("exit 3").contains(u"printed nothing instead of a reply, and ended with status 3"_s));
    EXPECT_EQ(causeOf("echo 'error: no network' >&2; exit 1"), QString()) << "its own words say it";
}

TEST_F(ClaudeAskTest, TheCauseNamesWhatTheToolNeedsAndDoesNotFind) {
    m_scratch.write(u".local/bin/claude"_s, "#!/no/such/node\n", QFile::ExeOwner);
    EXPECT_EQ(failed(question()).cause,
              binary() + u" needs /no/such/node, which is not found. Install that, or claude again."_s);
    m_scratch.write(u".local/bin/claude"_s, "#!/usr/bin/env -S no-such-node --flag\n", QFile::ExeOwner);
    EXPECT_EQ(failed(question()).cause,
              binary() + u" needs no-such-node, which is not found. Install that, or claude again."_s);
    m_scratch.write(u".local/bin/claude"_s, "#!/bin/sh\n");
    EXPECT_EQ(failed(question()).cause,
              binary() + u" may not be executed. `chmod +x "_s + binary() + u"` allows it."_s);
    m_scratch.write(u".local/bin/claude"_s,
                    "\x7f"
                    "ELF half a download",
                    QFile::ExeOwner);
    EXPECT_TRUE(failed(question()).cause.contains(u"is no program for this computer"_s));
}

TEST_F(ClaudeAskTest, ANulInTheMessageBecomesAVisibleSign) {
    tool("printf '%s' \"$2\" > " + m_scratch.path(u"prompt"_s).toUtf8() + "; echo '{\"result\": \"ok\"}'");
    EXPECT_TRUE(ask(question(u"before"_s + QChar(u'\0') + u"after"_s)));
    EXPECT_EQ(QString::fromUtf8(test::contents(m_scratch.path(u"prompt"_s))), u"before\uFFFDafter"_s);
}

TEST_F(ClaudeAskTest, TheProcessIsStoredBeforeItStarts) {
    // The start fails, and so the process can only have been stored before it.
    failed(question());
    EXPECT_TRUE(m_call->process);
}

TEST_F(ClaudeAskTest, CancelEndsTheToolAndAllItStarted) {
    tool("(trap '' TERM; while :; do sleep 0.05; done) & echo $! > " + m_scratch.path(u"child"_s).toUtf8() +
         "; echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() + "; wait");
    const auto reply = begin();
    const auto pid = test::pidIn(m_scratch.path(u"pid"_s));
    const auto child = test::pidIn(m_scratch.path(u"child"_s));
    m_call->process->terminate();
    ASSERT_TRUE(test::waitUntil([&] { return reply->has_value(); }));
    ASSERT_FALSE(**reply);
    EXPECT_EQ((*reply)->error().domain, u"claude"_s);
    EXPECT_TRUE(test::waitUntil([&] { return !test::isAlive(pid) && !test::isAlive(child); }));
}

TEST_F(ClaudeAskTest, CancelEndsAToolThatIgnoresIt) {
    ManualClock clock;
    tool("trap '' TERM; echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() + "; while :; do sleep 0.05; done");
    const auto reply = begin();
    const auto pid = test::pidIn(m_scratch.path(u"pid"_s));
    m_call->process->terminate();
    test::settle();
    EXPECT_TRUE(test::isAlive(pid));
    clock.advance(2s);
    ASSERT_TRUE(test::waitUntil([&] { return reply->has_value(); }));
    EXPECT_FALSE(test::isAlive(pid));
}

TEST_F(ClaudeAskTest, CancelRightAfterTheStartEndsIt) {
    tool("exec sleep 1000");
    const auto reply = begin();
    m_call->process->terminate();
    ASSERT_TRUE(test::waitUntil([&] { return reply->has_value(); }));
    EXPECT_FALSE(**reply);
}

TEST_F(ClaudeAskTest, CancelAfterTheEndIsHarmless) {
    tool("echo '{\"result\": \"ok\"}'");
    EXPECT_TRUE(ask(question()));
    m_call->process->terminate();
    EXPECT_TRUE(ask(question())) << "the next turn has a process of its own";
}

TEST_F(ClaudeAskTest, ItIsNotBoundedByTime) {
    ManualClock clock;
    tool("echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() + "; while [ ! -e " + m_scratch.path(u"gate"_s).toUtf8() +
         " ]; do sleep 0.01; done; echo '{\"result\": \"at last\"}'");
    const auto reply = begin();
    EXPECT_GT(test::pidIn(m_scratch.path(u"pid"_s)), 0);
    clock.advance(24h);
    test::settle();
    EXPECT_FALSE(*reply);
    m_scratch.write(u"gate"_s, {});
    ASSERT_TRUE(test::waitUntil([&] { return reply->has_value(); }));
    ASSERT_TRUE(**reply);
    EXPECT_EQ((**reply)->text, u"at last"_s);
}

TEST_F(ClaudeAskTest, TwoAtOnceDoNotMix) {
    tool("sleep 0.1; echo \"{\\\"result\\\": \\\"$2\\\"}\"");
    const auto first = begin();
    const auto second = await(Claude::ask(question(u"second"_s), std::make_shared<Claude::Call>()));
    ASSERT_TRUE(test::waitUntil([&] { return first->has_value(); }));
    ASSERT_TRUE(**first);
    ASSERT_TRUE(second);
    EXPECT_EQ((**first)->text, u"hello"_s);
    EXPECT_EQ(second->text, u"second"_s);
}

TEST_F(ClaudeAskTest, AGrandchildThatOutlivesTheToolDoesNotDelayTheReply) {
    tool("sleep 1000 & echo $! > " + m_scratch.path(u"child"_s).toUtf8() + "; echo '{\"result\": \"ok\"}'");
    EXPECT_TRUE(ask(question()));
    ::kill(static_cast<pid_t>(test::pidIn(m_scratch.path(u"child"_s))), SIGKILL);
}

TEST_F(ClaudeAskTest, TheSmokeTestAsksForOneFixedReplyWithoutTools) {
    ManualClock clock;
    tool("for word; do echo \"[$word]\"; done > " + m_scratch.path(u"seen"_s).toUtf8() +
         "; echo '{\"result\": \"ombru test ok\"}'");
    EXPECT_EQ(await(Claude::smokeTest()).line, u"✓ claude -p works (0.0s): ombru test ok"_s);
    EXPECT_EQ(test::contents(m_scratch.path(u"seen"_s)),
              "[-p]\n[Reply with exactly: ombru test ok]\n[--output-format]\n[json]\n[--tools]\n[]\n");
}

TEST_F(ClaudeAskTest, TheSmokeTestTellsTheSecondsAndTheFirstSixtyCharacters) {
    ManualClock clock;
    const auto gate = m_scratch.path(u"gate"_s).toUtf8();
    tool("echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() + "; while [ ! -e " + gate +
         " ]; do sleep 0.01; done; echo '{\"result\": \"" + QByteArray(100, 'x') + "\"}'");
    const auto line = std::make_shared<std::optional<Claude::SmokeTest>>();
    const auto kept = test::keep(Claude::smokeTest(), line);
    EXPECT_GT(test::pidIn(m_scratch.path(u"pid"_s)), 0);
    clock.advance(3260ms);
    m_scratch.write(u"gate"_s, {});
    ASSERT_TRUE(test::waitUntil([&] { return line->has_value(); }));
    EXPECT_EQ((*line)->line, u"✓ claude -p works (3.3s): "_s + QString(60, u'x'));
}

TEST_F(ClaudeAskTest, TheSmokeTestSaysWhatWentWrong) {
    tool("echo '{\"result\": \"Credit balance is too low\", \"is_error\": true}'");
    EXPECT_EQ(await(Claude::smokeTest()).line, u"✗ claude -p failed: Credit balance is too low"_s);
    tool("echo 'no network' >&2; exit 1");
    EXPECT_EQ(await(Claude::smokeTest()).line, u"✗ claude -p failed: no network\n"_s);
    tool("echo '{}'");
    EXPECT_EQ(await(Claude::smokeTest()).line, u"✗ claude -p failed: {}\n"_s);
    m_scratch.write(u".local/bin/claude"_s, "garbage", QFile::ExeOwner);
    const auto garbage = await(Claude::smokeTest());
    EXPECT_EQ(garbage.line, u"✗ couldn't start claude: "_s + binary() + u": Exec format error"_s);
    EXPECT_TRUE(garbage.cause.contains(u"Install claude again."_s));
}

TEST_F(ClaudeAskTest, TheSmokeTestSaysThatThereIsNoTool) {
    FakePlatform::instance().ownerShell = {};
    if (!systemWide())
        EXPECT_EQ(await(Claude::smokeTest()).line, u"✗ claude isn't installed"_s);
    EXPECT_EQ(await(Claude::findBinary()), systemWide());
}

TEST_F(ClaudeAskTest, TheSmokeTestIsBounded) {
    ManualClock clock;
    tool("echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() + "; exec sleep 1000");
    const auto line = std::make_shared<std::optional<Claude::SmokeTest>>();
    const auto kept = test::keep(Claude::smokeTest(), line);
    const auto pid = test::pidIn(m_scratch.path(u"pid"_s));
    clock.advance(5min);
    ASSERT_TRUE(test::waitUntil([&] { return line->has_value(); }));
    EXPECT_EQ((*line)->line, u"✗ claude -p failed: no answer within 300 s"_s);
    EXPECT_FALSE(test::isAlive(pid));
}

TEST_F(ClaudeAskTest, AStopEndsTheSmokeTest) {
    std::stop_source stop;
    tool("echo $$ > " + m_scratch.path(u"pid"_s).toUtf8() + "; exec sleep 1000");
    const auto line = std::make_shared<std::optional<Claude::SmokeTest>>();
    const auto kept = test::keep(Claude::smokeTest(stop.get_token()), line);
    const auto pid = test::pidIn(m_scratch.path(u"pid"_s));
    stop.request_stop();
    ASSERT_TRUE(test::waitUntil([&] { return line->has_value(); }));
    EXPECT_EQ((*line)->line, u"✗ claude -p failed: it was called off"_s);
    EXPECT_FALSE(test::isAlive(pid));
}
