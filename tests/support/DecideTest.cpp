// The helper that fills the records of throw-away homes leaves the account's own alone.
#include "tests/support/Processes.h"
#include "tests/support/Record.h"
#include "tests/support/Variable.h"

#include <QProcess>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

// Taking back what was never decided hurts nobody, should it be let through.
int forget() {
    QProcess decide;
    decide.start(qEnvironmentVariable("OMBRU_BIN") + u"/../tests/ombru-decide"_s, {u"forget"_s, u"/nowhere/nobody"_s, u"Nothing"_s});
    EXPECT_TRUE(decide.waitForFinished());
    return decide.exitCode();
}

} // namespace

TEST(Decide, RefusesTheAccountsOwnHome) {
    const Variable home("HOME", accountsHome().toUtf8());
    const Variable data("XDG_DATA_HOME");
    EXPECT_FALSE(mayWriteRecord());
    EXPECT_EQ(forget(), 1);
}

TEST(Decide, RefusesTheAccountsOwnDataBesideAnotherHome) {
    const Scratch scratch;
    const Variable home("HOME", scratch.directory().toUtf8());
    const Variable data("XDG_DATA_HOME", (accountsHome() + u"/.local/share"_s).toUtf8());
    EXPECT_FALSE(mayWriteRecord()) << consentDatabase().toStdString();
}

TEST(Decide, FillsAnotherHome) {
    const Scratch scratch;
    const Variable home("HOME", scratch.directory().toUtf8());
    const Variable data("XDG_DATA_HOME");
    EXPECT_TRUE(mayWriteRecord());
    EXPECT_EQ(forget(), 0);
}
