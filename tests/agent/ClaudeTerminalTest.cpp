#include "tests/agent/ClaudeFixture.h"

using namespace ombru;
using namespace Qt::StringLiterals;
using test::await;

namespace {

class ClaudeTerminalTest : public test::ClaudeTest {
protected:
    QString workDir() const { return home() + u"/work dir"_s; }
    QString file(const QString &name) const { return workDir() + u'/' + name; }
    QStringList opened() const { return FakePlatform::instance().openedInTerminal; }
    QString written(const QString &name) const { return QString::fromUtf8(test::contents(file(name))); }
};

constexpr auto ALL_MAY_RUN = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadUser |
                             QFile::WriteUser | QFile::ExeUser | QFile::ReadGroup | QFile::ExeGroup | QFile::ReadOther |
                             QFile::ExeOther;

} // namespace

TEST_F(ClaudeTerminalTest, InstallingRunsTheVendorsCommandAndThenSignsIn) {
    ASSERT_TRUE(Claude::installInTerminal(workDir()));
    EXPECT_EQ(opened(), QStringList{file(u"install-claude.command"_s)});
    EXPECT_EQ(written(u"install-claude.command"_s), u"#!/bin/bash\n"
                                                    "clear\n"
                                                    "echo 'Installing Claude Code (the claude command)…'\n"
                                                    "curl -fsSL https://claude.ai/install.sh | bash || exit 1\n"
                                                    "echo; echo 'Installed. Now sign in to Claude:'\n"
                                                    "\"$HOME/.local/bin/claude\" auth login\n"
                                                    "echo; echo 'You can close this window and go back to ombru.'"_s);
    EXPECT_EQ(QFileInfo(file(u"install-claude.command"_s)).permissions(), ALL_MAY_RUN);
}

TEST_F(ClaudeTerminalTest, UpdatingAndSigningInUseTheToolThatIsThere) {
    tool("exit 0");
    ASSERT_TRUE(await(Claude::updateInTerminal(workDir())));
    ASSERT_TRUE(await(Claude::signInInTerminal(workDir())));
    EXPECT_EQ(opened(), QStringList({file(u"update-claude.command"_s), file(u"claude-login.command"_s)}));
    EXPECT_EQ(written(u"update-claude.command"_s).split(u'\n')[2], u"\"%1\" update"_s.arg(binary()));
    EXPECT_EQ(written(u"claude-login.command"_s).split(u'\n')[2], u"\"%1\" auth login"_s.arg(binary()));
}

TEST_F(ClaudeTerminalTest, WithoutAToolTheyNameIt) {
    FakePlatform::instance().ownerShell = {};
    ASSERT_TRUE(await(Claude::updateInTerminal(workDir())));
    EXPECT_EQ(written(u"update-claude.command"_s).split(u'\n')[2],
              u"\"%1\" update"_s.arg(systemWide().value_or(u"claude"_s)));
}

TEST_F(ClaudeTerminalTest, ThePathOfTheToolReachesTheShellAsItIs) {
    QDir().mkpath(home() + u"/it's $HOME `x` \"q\""_s);
    const auto odd = m_scratch.script(u"it's $HOME `x` \"q\"/claude"_s, "echo ran \"$1\"");
    FakePlatform::instance().ownerShell = {m_scratch.script(u"shell"_s, "cat " + m_scratch.path(u"answer"_s).toUtf8()),
                                           u"whence -p"_s};
    m_scratch.write(u"answer"_s, odd.toUtf8());
    ASSERT_TRUE(await(Claude::updateInTerminal(workDir())));
    if (systemWide())
        return;
    const auto result = await(runCollecting(Process::make({.program = opened().first()})));
    ASSERT_TRUE(result);
    EXPECT_TRUE(result->out.contains("ran update\n")) << result->err.toStdString();
}

TEST_F(ClaudeTerminalTest, AFileOfAnEarlierTimeIsReplaced) {
    QDir().mkpath(workDir());
    m_scratch.write(u"work dir/demo.command"_s, QByteArray(10'000, 'x'));
    ASSERT_TRUE(Claude::openTerminal(u"demo"_s, {u"echo one"_s, u"echo two"_s}, workDir()));
    EXPECT_EQ(written(u"demo.command"_s), u"#!/bin/bash\nclear\necho one\necho two\n"
                                          "echo; echo 'You can close this window and go back to ombru.'"_s);
    EXPECT_EQ(QDir(workDir()).entryList(QDir::Files), QStringList{u"demo.command"_s}) << "nothing temporary is left";
}

TEST_F(ClaudeTerminalTest, NoTerminalIsTheDesktopsFailure) {
    const Failure none{u"workspace"_s, 1, u"no terminal; type: bash x"_s};
    FakePlatform::instance().terminal = std::unexpected(none);
    const auto outcome = Claude::installInTerminal(workDir());
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error(), none);
}

TEST_F(ClaudeTerminalTest, AFileThatCannotBeWrittenIsAFailureThatNamesItAndNothingIsOpened) {
    m_scratch.write(u"work dir"_s, "a file where the directory should be");
    const auto outcome = Claude::installInTerminal(workDir());
    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().domain, u"claude"_s);
    EXPECT_TRUE(outcome.error().description.startsWith(u"couldn't write "_s + file(u"install-claude.command: "_s)))
        << outcome.error().description.toStdString();
    EXPECT_TRUE(outcome.error().description.endsWith(Claude::installCommand)) << "what to type instead";
    EXPECT_EQ(opened(), QStringList());
}
