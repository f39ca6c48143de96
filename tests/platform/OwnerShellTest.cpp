#include "platform/OwnerShell.h"

#include "tests/support/Processes.h"

#include <QFileInfo>

#include <pwd.h>
#include <unistd.h>

using namespace ombru;
using namespace Qt::StringLiterals;

namespace {

QString loginShell() {
    return QString::fromLocal8Bit(::getpwuid(::getuid())->pw_shell);
}

} // namespace

TEST(OwnerShell, IsAProgramThatCanBeStarted) {
    const auto shell = ownerShell();
    EXPECT_TRUE(QFileInfo(shell.program).isExecutable()) << shell.program.toStdString();
    EXPECT_EQ(shell.program, QFileInfo(u"/bin/zsh"_s).isExecutable() ? u"/bin/zsh"_s : loginShell());
}

TEST(OwnerShell, IsZshWhereThatIsInstalled) {
    const test::Scratch scratch;
    const auto shell = ownerShell(scratch.script(u"zsh"_s, "exit 0"));
    EXPECT_EQ(shell.program, scratch.path(u"zsh"_s));
    EXPECT_EQ(shell.where, u"whence -p"_s);
}

TEST(OwnerShell, IsTheLoginShellWhereZshIsNot) {
    const auto shell = ownerShell(u"/no/such/zsh"_s);
    EXPECT_EQ(shell.program, loginShell());
    EXPECT_EQ(shell.where, u"command -v"_s);
}
