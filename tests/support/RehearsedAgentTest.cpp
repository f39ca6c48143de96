// The rehearsed agent as the application uses it: started as `claude`, asked through our own client.
#include "agent/Claude.h"
#include "tests/support/Processes.h"

#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class RehearsedAgentTest : public testing::Test {
protected:
    RehearsedAgentTest() {
        qputenv("HOME", m_scratch.directory().toUtf8());
        qputenv("OMBRU_REHEARSAL_STATE", m_scratch.path(u"state"_s).toUtf8());
        qunsetenv("OMBRU_SCENARIO");
        QImage picture(160, 90, QImage::Format_RGB32);
        picture.fill(Qt::darkCyan);
        EXPECT_TRUE(picture.save(screenshot()));
    }

    QString agent() const { return qEnvironmentVariable("OMBRU_BIN") + u"/ombru-rehearsed-agent"_s; }
    QString screenshot() const { return m_scratch.path(u"step-1.png"_s); }

    void scenario(const QByteArray &text) {
        qputenv("OMBRU_SCENARIO", m_scratch.write(u"one.scenario"_s, "task: a thing\nwords: thing\n" + text).toUtf8());
    }

    QString message(const QString &head, const QString &size = u"160x90"_s) const {
        return head + u"\nScreenshot (step 1): "_s + screenshot() + u"\nImage size: "_s + size +
               u" px.\nScreen size: 320x180 points. To convert image px -> screen points multiply x by 2.000 and y by "
               "2.000."_s;
    }
    QString task(const QString &text) const { return message(u"USER TASK: "_s + text); }
    QString result(const QString &how, const QString &text) const {
        return message(u"Result of your last AppleScript ("_s + how + u"):\n"_s + text);
    }

    std::expected<Claude::Reply, ToolFailure> ask(const QString &prompt, const std::optional<QString> &session = {}) {
        const Claude::Question question{m_binary.value_or(agent()), prompt, u"be brief"_s, session, QString(),
                                        m_scratch.directory()};
        return await(Claude::ask(question, m_call));
    }
    QString textOf(const QString &prompt, const std::optional<QString> &session = {}) {
        const auto reply = ask(prompt, session);
        EXPECT_TRUE(reply) << (reply ? "" : reply.error().description.toStdString());
        return reply ? reply->text : QString();
    }
    QString failureOf(const QString &prompt, const std::optional<QString> &session = {}) {
        const auto reply = ask(prompt, session);
        EXPECT_FALSE(reply);
        return reply ? QString() : reply.error().description;
    }

    Scratch m_scratch;
    std::optional<QString> m_binary;
    std::shared_ptr<Claude::Call> m_call = std::make_shared<Claude::Call>();
};

} // namespace

TEST_F(RehearsedAgentTest, HasEveryFlagThatIsAskedFor) {
    EXPECT_EQ(await(Claude::missingFlags(agent())), QStringList());
}

TEST_F(RehearsedAgentTest, TellsWhoIsSignedIn) {
    const auto status = await(Claude::runQuick(agent(), {u"auth"_s, u"status"_s, u"--json"_s}));
    ASSERT_TRUE(status);
    const auto object = QJsonDocument::fromJson(status->toUtf8()).object();
    EXPECT_TRUE(object[u"loggedIn"].toBool());
    EXPECT_EQ(object[u"email"].toString(), u"rehearsed@localhost"_s);
    scenario("account: nobody\n");
    EXPECT_TRUE(await(Claude::runQuick(agent(), {u"auth"_s, u"status"_s, u"--json"_s}))->contains(u"false"_s));
}

TEST_F(RehearsedAgentTest, LacksTheFlagsItIsTooOldFor) {
    scenario("without: --allowedTools --resume\n");
    const auto old = m_scratch.path(u"old"_s);
    ASSERT_TRUE(QFile::link(agent(), old));
    EXPECT_EQ(await(Claude::missingFlags(old)), QStringList({u"--allowedTools"_s, u"--resume"_s}));
}

TEST_F(RehearsedAgentTest, PlaysAScenarioTurnByTurn) {
    scenario(
        "=== 1\nfirst\n=== 2 when failure\nsecond, corrected\n=== 2 when success\nsecond\n=== 3\nDONE: {{image.width}} "
        "{{screen.height}}");
    const auto first = ask(task(u"do the Thing!"_s));
    ASSERT_TRUE(first);
    EXPECT_EQ(first->text, u"first"_s);
    const auto second = ask(result(u"failure"_s, u"1:2: syntax error"_s), first->sessionID);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->text, u"second, corrected"_s);
    EXPECT_EQ(second->sessionID, first->sessionID);
    EXPECT_EQ(textOf(result(u"success"_s, u"ok"_s), first->sessionID), u"DONE: 160 180"_s);
    EXPECT_EQ(textOf(result(u"success"_s, u"ok"_s), first->sessionID),
              u"My scenario one.scenario has no answer for turn 4 to this message, so I stop here."_s);
}

TEST_F(RehearsedAgentTest, BeginsAgainWithTheNextTaskOfAConversation) {
    scenario("=== 1\nfirst\n=== 2\nsecond");
    const auto first = ask(task(u"a thing"_s));
    ASSERT_TRUE(first);
    EXPECT_EQ(textOf(task(u"another thing"_s), first->sessionID), u"first"_s);
    EXPECT_EQ(textOf(result(u"success"_s, QString()), first->sessionID), u"second"_s);
}

TEST_F(RehearsedAgentTest, StaysInATurnThatNamesItselfAsTheNext) {
    scenario("=== 1\n@next 1\nagain");
    const auto first = ask(task(u"a thing"_s));
    ASSERT_TRUE(first);
    for (int turn = 0; turn < 3; ++turn)
        EXPECT_EQ(textOf(result(u"success"_s, QString()), first->sessionID), u"again"_s);
}

TEST_F(RehearsedAgentTest, SaysThatItDoesNotKnowATaskAndWhichItKnows) {
    const auto answer = textOf(task(u"bake bread"_s));
    EXPECT_TRUE(answer.startsWith(u"I am the rehearsed agent"_s));
    EXPECT_TRUE(answer.contains(u"“bake bread” is not among them"_s));
    EXPECT_TRUE(answer.contains(u"“open the text editor and write a haiku about rain into it”"_s));
}

TEST_F(RehearsedAgentTest, AnswersAQuestionAboutTheScreen) {
    EXPECT_EQ(
        textOf(task(u"How large is my screen?"_s)),
        u"DONE: Your screen measures 320 by 180 points; the picture of it that I looked at has 160 by 90 pixels."_s);
}

TEST_F(RehearsedAgentTest, AnswersTheQuestionWhetherItWorks) {
    const auto answer = await(Claude::runQuick(agent(), {u"-p"_s, u"Reply with exactly: ombru test ok"_s,
                                                         u"--output-format"_s, u"json"_s, u"--tools"_s, u""_s}));
    ASSERT_TRUE(answer);
    EXPECT_EQ(QJsonDocument::fromJson(answer->toUtf8()).object()[u"result"].toString(), u"ombru test ok"_s);
}

TEST_F(RehearsedAgentTest, ReallyLooksAtTheScreenshot) {
    scenario("=== 1\nseen");
    EXPECT_EQ(textOf(message(u"USER TASK: thing"_s, u"161x90"_s)),
              u"I could not look at the screen: the screenshot is 160x90 pixels, the message says 161x90."_s);
    const auto damaged = contents(screenshot());
    m_scratch.write(u"step-1.png"_s, damaged.first(damaged.size() / 2));
    EXPECT_TRUE(textOf(task(u"thing"_s)).startsWith(u"I could not look at the screen: "_s));
    m_scratch.write(u"step-1.png"_s, "words");
    EXPECT_TRUE(textOf(task(u"thing"_s)).contains(u"is not there or is not a PNG picture"_s));
    QFile::remove(screenshot());
    EXPECT_TRUE(textOf(task(u"thing"_s)).contains(u"is not there or is not a PNG picture"_s));
    EXPECT_TRUE(textOf(u"USER TASK: thing\nImage size: 1x1 px."_s).startsWith(u"I could not look"_s));
}

TEST_F(RehearsedAgentTest, RefusesAConversationItDoesNotKnow) {
    EXPECT_EQ(failureOf(task(u"thing"_s), u"00000000-0000-4000-8000-000000000000"_s),
              u"claude failed: No conversation found with session ID: 00000000-0000-4000-8000-000000000000\n"_s);
    EXPECT_TRUE(failureOf(task(u"thing"_s), u"../etc/passwd"_s).contains(u"is not a UUID"_s));
}

TEST_F(RehearsedAgentTest, RefusesADamagedConversation) {
    scenario("=== 1\nfirst");
    const auto first = ask(task(u"thing"_s));
    ASSERT_TRUE(first && first->sessionID);
    m_scratch.write(u"state/"_s + *first->sessionID + u".json"_s, "{");
    EXPECT_TRUE(failureOf(task(u"thing"_s), first->sessionID).contains(u"is damaged; start a new conversation."_s));
}

TEST_F(RehearsedAgentTest, RefusesADamagedScenario) {
    scenario("=== 1\n@dance\nx");
    EXPECT_EQ(failureOf(task(u"thing"_s)), u"claude failed: one.scenario:4: no such directive: @dance\n"_s);
}

TEST_F(RehearsedAgentTest, MisbehavesAsTold) {
    scenario("=== 1\n@error\nno credit");
    EXPECT_EQ(failureOf(task(u"thing"_s)), u"claude error: no credit"_s);
    scenario("=== 1\n@raw\nnot JSON");
    EXPECT_EQ(failureOf(task(u"thing"_s)), u"claude failed: not JSON\n"_s);
    scenario("=== 1\n@exit 3\n@stderr out of cheese\nx");
    EXPECT_EQ(failureOf(task(u"thing"_s)), u"claude failed: out of cheese\n"_s);
    scenario("=== 1\n@crash SIGSEGV\nx");
    EXPECT_TRUE(failureOf(task(u"thing"_s)).contains(u"status 11"_s));
    scenario("=== 1\n@no-session\n@delay 50\nfine");
    const auto reply = ask(task(u"thing"_s));
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->sessionID, std::nullopt);
}

TEST_F(RehearsedAgentTest, ShapesItsTextAsTold) {
    scenario("=== 1\n@crlf\na\nb");
    EXPECT_EQ(textOf(task(u"thing"_s)), u"a\r\nb"_s);
    scenario("=== 1\n@pad 5\nlong");
    EXPECT_EQ(textOf(task(u"thing"_s)).size(), 5'000'005);
}

TEST_F(RehearsedAgentTest, DeletesItselfAsTold) {
    scenario("=== 1\n@delete-self\nlast words");
    m_binary = m_scratch.path(u"claude"_s);
    ASSERT_TRUE(QFile::link(agent(), *m_binary));
    EXPECT_EQ(textOf(task(u"thing"_s)), u"last words"_s);
    EXPECT_FALSE(QFileInfo(*m_binary).isSymLink());
    EXPECT_TRUE(QFileInfo::exists(agent()));
}

TEST_F(RehearsedAgentTest, HangsUntilItIsKilled) {
    scenario("=== 1\n@stderr hanging\n@hang\nx");
    const auto reply = std::make_shared<std::optional<std::expected<Claude::Reply, ToolFailure>>>();
    const Claude::Question question{agent(), task(u"thing"_s), {}, std::nullopt, {}, m_scratch.directory()};
    const auto asking = keep(Claude::ask(question, m_call), reply);
    ASSERT_TRUE(waitUntil([&] { return QDir(m_scratch.path(u"state"_s)).count() > 2; }));
    m_call->process->terminate();
    ASSERT_TRUE(waitUntil([&] { return reply->has_value(); }));
    EXPECT_FALSE(**reply);
}
