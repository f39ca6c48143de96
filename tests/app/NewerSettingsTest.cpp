// The programs in a home whose settings a newer ombru has written.
#include "base/Process.h"
#include "tests/support/Outcome.h"
#include "tests/support/Processes.h"
#include "tests/support/Wait.h"

#include <QDir>

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class NewerSettings : public ::testing::Test {
protected:
    NewerSettings() {
        QDir(m_scratch.directory()).mkpath(u"ombru"_s);
        m_scratch.write(u"ombru/ombru.conf"_s, NEWER);
        for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR"})
            m_environment[name] = m_scratch.directory().toUtf8();
    }
    Outcome run(const QStringList &arguments) {
        auto process = Process::make({.program = qEnvironmentVariable("OMBRU_BIN") + u"/ombru"_s,
                                      .arguments = arguments,
                                      .directory = m_scratch.directory(),
                                      .environment = m_environment});
        EXPECT_TRUE(process->start());
        await(process->ended());
        return {process->status(), QString::fromUtf8(process->takeOutput()), QString::fromUtf8(process->takeErrors())};
    }
    QStringList files() const {
        return QDir(m_scratch.path(u"ombru"_s)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    static inline const QByteArray NEWER = "settingsVersion=2\nserverURL=what this means is not known here\n";
    Scratch m_scratch;
    Environment m_environment = ownEnvironment();
};

} // namespace

TEST_F(NewerSettings, AreRefusedWithAClearLineAndNothingIsTouched) {
    for (const QStringList &arguments :
         {QStringList{u"--headless"_s}, QStringList{u"settings"_s}, QStringList{u"settings"_s, u"maxSteps"_s, u"3"_s},
          QStringList{u"status"_s}, QStringList{u"run"_s, u"look"_s}, QStringList{u"sign-out"_s}}) {
        const auto outcome = run(arguments);
        EXPECT_EQ(outcome.status, 1) << arguments.join(u' ').toStdString();
        EXPECT_TRUE(outcome.err.contains(u"ombru.conf: it is of a newer ombru (settingsVersion=2"_s))
            << outcome.err.toStdString();
        EXPECT_EQ(outcome.out, QString());
    }
    EXPECT_EQ(contents(m_scratch.path(u"ombru/ombru.conf"_s)), NEWER);
    EXPECT_EQ(files(), QStringList{u"ombru.conf"_s});
}

TEST_F(NewerSettings, DoctorSaysWhatToDoAndHelpHelps) {
    EXPECT_EQ(run({u"--help"_s}).status, 0);
    const auto outcome = run({u"doctor"_s});
    EXPECT_TRUE(outcome.out.contains(u"of a newer ombru"_s)) << outcome.out.toStdString();
    EXPECT_EQ(contents(m_scratch.path(u"ombru/ombru.conf"_s)), NEWER);
}
