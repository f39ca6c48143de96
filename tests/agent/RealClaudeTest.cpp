// The real `claude` tool, driven through our client against a stand-in of the model's service. Skipped, with a line
// that says so, only where the npm registry cannot be reached.
#include "agent/Claude.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/ModelService.h"
#include "tests/support/Processes.h"

#include <QImage>

#include <unistd.h>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;
using Kind = ModelAnswer::Kind;

namespace {

ModelAnswer say(const QString &text) {
    return {Kind::Say, text, 200, {}};
}

// Asks to see the screenshot that the message names, then answers.
ModelAnswer look(const ModelRequest &request, const QString &path, const QString &answer) {
    return request.hasToolResult() ? say(answer) : ModelAnswer{Kind::Read, path, 200, {}};
}

// Each leads a process group.
QList<pid_t> childrenOfThisTest() {
    QList<pid_t> children;
    for (const auto &name : QDir(u"/proc"_s).entryList({u"[0-9]*"_s}, QDir::Dirs)) {
        const auto stat = contents(u"/proc/"_s + name + u"/stat"_s);
        const auto fields = stat.sliced(stat.lastIndexOf(')') + 1).split(' ');
        if (fields.value(2).toInt() == getpid())
            children.append(name.toInt());
    }
    return children;
}

class RealClaudeTest : public testing::Test {
protected:
    RealClaudeTest() : m_service([this](const ModelRequest &request) { return m_model(request); }) {
        FakePlatform::reset();
        // Its own environment and nothing of the owner's: neither settings nor keys nor proxies.
        clearenv();
        qputenv("PATH", "/usr/local/bin:/usr/bin:/bin");
        qputenv("HOME", m_scratch.directory().toUtf8());
        qputenv("LANG", "C.UTF-8");
        qputenv("ANTHROPIC_BASE_URL", m_service.url().toUtf8());
        qputenv("CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC", "1");
        qputenv("DISABLE_AUTOUPDATER", "1");
        qputenv("DISABLE_TELEMETRY", "1");
        qputenv("DISABLE_ERROR_REPORTING", "1");
        QDir().mkpath(m_scratch.path(u".local/bin"_s));
        EXPECT_TRUE(QFile::link(QStringLiteral(OMBRU_REAL_CLAUDE), binary()));
        QImage picture(160, 90, QImage::Format_RGB32);
        picture.fill(Qt::darkCyan);
        EXPECT_TRUE(picture.save(screenshot()));
    }
    void SetUp() override {
        if (!QFileInfo::exists(QStringLiteral(OMBRU_REAL_CLAUDE)))
            GTEST_SKIP() << "The claude tool could not be had: the npm registry was not reached.";
    }

    void signIn() { qputenv("ANTHROPIC_API_KEY", "sk-ant-dummy"); }

    QString binary() const { return m_scratch.path(u".local/bin/claude"_s); }
    QString screenshot() const { return m_scratch.path(u"step-1.png"_s); }

    Claude::Question question(const QString &prompt, const std::optional<QString> &session = {}) const {
        return {binary(),      prompt + u"\nScreenshot (step 1): "_s + screenshot(),
                u"be brief"_s, session,
                QString(),     m_scratch.directory()};
    }
    std::expected<Claude::Reply, ToolFailure> ask(const QString &prompt, const std::optional<QString> &session = {}) {
        return await(Claude::ask(question(prompt, session), m_call));
    }

    Scratch m_scratch;
    std::function<ModelAnswer(const ModelRequest &)> m_model = [](const ModelRequest &) { return say(u"unasked"_s); };
    ModelService m_service;
    std::shared_ptr<Claude::Call> m_call = std::make_shared<Claude::Call>();
};

} // namespace

TEST_F(RealClaudeTest, IsFoundAndHasEveryFlag) {
    EXPECT_EQ(await(Claude::findBinary()), binary());
    EXPECT_EQ(await(Claude::missingFlags(binary())), QStringList());
}

TEST_F(RealClaudeTest, TellsWhetherItIsSignedIn) {
    EXPECT_EQ(await(Claude::check()), Claude::State(Claude::SignedOut{}));
    signIn();
    EXPECT_EQ(await(Claude::check()), Claude::State(Claude::Ready{}));
}

TEST_F(RealClaudeTest, FailsWhenNotSignedIn) {
    const auto reply = ask(u"USER TASK: look"_s);
    ASSERT_FALSE(reply);
    EXPECT_EQ(reply.error().description, u"claude error: Not logged in · Please run /login"_s);
    EXPECT_TRUE(m_service.requests().isEmpty());
}

TEST_F(RealClaudeTest, LooksAtTheScreenshotAndGoesOnWithTheConversation) {
    signIn();
    m_model = [this](const ModelRequest &request) {
        return look(request, screenshot(), u"answer %1 — größer"_s.arg(request.userMessages()));
    };
    const auto first = ask(u"USER TASK: erste Frage"_s);
    ASSERT_TRUE(first) << first.error().description.toStdString();
    EXPECT_TRUE(first->text.startsWith(u"answer "_s) && first->text.endsWith(u" — größer"_s));
    ASSERT_TRUE(first->sessionID);
    ASSERT_EQ(m_service.requests().size(), 2);
    const auto asked = m_service.requests()[0];
    EXPECT_TRUE(asked.lastUserText().contains(u"USER TASK: erste Frage\nScreenshot (step 1): "_s + screenshot()));
    EXPECT_TRUE(asked.systemText().contains(u"be brief"_s));
    EXPECT_EQ(asked.toolNames(), QStringList(u"Read"_s));
    const auto seen = m_service.requests()[1];
    EXPECT_EQ(seen.imageTypes(), QStringList(u"image/png"_s));
    EXPECT_EQ(QImage::fromData(seen.lastImage()).size(), QSize(160, 90));

    const auto second = ask(u"Result of your last AppleScript (success):\nok"_s, first->sessionID);
    ASSERT_TRUE(second) << second.error().description.toStdString();
    EXPECT_EQ(second->sessionID, first->sessionID);
    ASSERT_EQ(m_service.requests().size(), 4);
    const auto resumed = m_service.requests()[2];
    EXPECT_TRUE(resumed.lastUserText().contains(u"Result of your last AppleScript (success):\nok"_s));
    EXPECT_GT(resumed.userMessages(), asked.userMessages());
}

TEST_F(RealClaudeTest, KeepsItsConversationsWhereAnUninstallLooksForThem) {
    signIn();
    m_model = [](const ModelRequest &) { return say(u"done"_s); };
    const auto work = m_scratch.path(u"some data/Größe.v1_ombru"_s);
    ASSERT_TRUE(QDir().mkpath(work));
    EXPECT_FALSE(QFileInfo::exists(Claude::conversationsPath(work)));
    auto asked = question(u"USER TASK: look"_s);
    asked.workDir = work;
    const auto reply = await(Claude::ask(asked, m_call));
    ASSERT_TRUE(reply) << reply.error().description.toStdString();
    const QDir kept(Claude::conversationsPath(work));
    EXPECT_TRUE(kept.exists(*reply->sessionID + u".jsonl"_s)) << kept.path().toStdString();
}

TEST_F(RealClaudeTest, PassesOnThatTheServiceRefuses) {
    signIn();
    m_model = [](const ModelRequest &) {
        return ModelAnswer{Kind::Refuse, u"Your credit balance is too low"_s, 400, u"invalid_request_error"_s};
    };
    const auto reply = ask(u"USER TASK: look"_s);
    ASSERT_FALSE(reply);
    EXPECT_TRUE(reply.error().description.startsWith(u"claude error: "_s)) << reply.error().description.toStdString();
    EXPECT_TRUE(reply.error().description.contains(u"redit balance is too low"_s))
        << reply.error().description.toStdString();
}

TEST_F(RealClaudeTest, RefusesAConversationItDoesNotKnow) {
    signIn();
    const auto reply = ask(u"look"_s, u"00000000-0000-4000-8000-000000000000"_s);
    ASSERT_FALSE(reply);
    EXPECT_EQ(reply.error().description,
              u"claude failed: No conversation found with session ID: 00000000-0000-4000-8000-000000000000\n"_s);
}

// It would try again for minutes.
TEST_F(RealClaudeTest, EndsAtOnceWhenCancelledWhileTheConnectionDrops) {
    signIn();
    m_model = [](const ModelRequest &) { return ModelAnswer{Kind::Drop, u"and then"_s, 200, {}}; };
    const auto reply = std::make_shared<std::optional<std::expected<Claude::Reply, ToolFailure>>>();
    const auto asking = keep(Claude::ask(question(u"USER TASK: look"_s), m_call), reply);
    ASSERT_TRUE(waitUntil([&] { return m_service.requests().size() >= 2; })) << "it did not try again";
    ASSERT_FALSE(reply->has_value());
    const auto groups = childrenOfThisTest();
    ASSERT_EQ(groups.size(), 1);
    m_call->process->terminate();
    ASSERT_TRUE(waitUntil([&] { return reply->has_value(); }));
    EXPECT_FALSE(**reply);
    EXPECT_TRUE(waitUntil([&] { return kill(-groups[0], 0) != 0; })) << "a process of its group is left";
}
