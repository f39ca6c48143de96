// The whole of it on a real desktop: ombru, an agent that knows its tasks by heart, osascript, a real editor. What was
// done is on the disk.
#include "base/Process.h"
#include "tests/support/Processes.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

const QString HAIKU = u"open the text editor and write a haiku about rain into it"_s;

struct Finished {
    int status = -1;
    QString out;
};

class TaskJourney : public testing::Test {
protected:
    TaskJourney() {
        QDir(m_scratch.directory()).mkpath(u".local/bin"_s);
        EXPECT_TRUE(QFile::link(bin(u"ombru-rehearsed-agent"_s), m_scratch.path(u".local/bin/claude"_s)));
        m_environment["HOME"] = m_scratch.directory().toUtf8();
        m_environment["TASK_JOURNEY"] = m_scratch.directory().toUtf8();
        for (const char *name : {"XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME"})
            m_environment.erase(name);
    }
    // What the scripts opened is the owner's, so the test ends it: all that carry the test's mark.
    ~TaskJourney() override {
        EXPECT_TRUE(waitUntil([this] {
            const auto left = marked();
            for (const qint64 pid : left)
                ::kill(static_cast<pid_t>(pid), SIGKILL);
            return left.isEmpty();
        }));
    }

    static QString bin(const QString &name) { return qEnvironmentVariable("OMBRU_BIN") + u'/' + name; }

    QList<qint64> marked() const {
        QList<qint64> result;
        for (const QString &name : QDir(u"/proc"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            const auto environment = contents(u"/proc/"_s + name + u"/environ"_s);
            if (environment.contains("TASK_JOURNEY=" + m_scratch.directory().toUtf8()) && isAlive(name.toLongLong()))
                result += name.toLongLong();
        }
        return result;
    }

    // The agent knows only this scenario then.
    void teach(const QByteArray &scenario) {
        m_environment["OMBRU_SCENARIO"] = m_scratch.write(u"taught.scenario"_s, scenario).toUtf8();
    }

    std::shared_ptr<Process> start(const QStringList &arguments) {
        auto process = Process::make({.program = bin(u"ombru"_s),
                                      .arguments = QStringList{u"run"_s} + arguments,
                                      .directory = m_scratch.directory(),
                                      .environment = m_environment});
        const auto started = process->start();
        EXPECT_TRUE(started) << started.error().description.toStdString();
        return process;
    }
    static Finished end(const std::shared_ptr<Process> &process) {
        await(process->ended());
        return {process->status(), QString::fromUtf8(process->takeOutput() + process->takeErrors())};
    }
    Finished run(const QStringList &arguments) { return end(start(arguments)); }

    Scratch m_scratch;
    Environment m_environment = ownEnvironment();
};

} // namespace

TEST_F(TaskJourney, AHaikuIsWrittenIntoTheEditorAndSaved) {
    const auto finished = run({HAIKU});
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"✓ The haiku is in the text editor"_s)) << finished.out.toStdString();
    EXPECT_EQ(contents(m_scratch.path(u"Documents/haiku.txt"_s)),
              "Rain taps on the roof —\neach drop a small, patient word,\nthe garden listens.\n");
}

TEST_F(TaskJourney, TheOwnersEditorOutlivesTheTask) {
    EXPECT_EQ(run({HAIKU}).status, 0);
    EXPECT_FALSE(marked().isEmpty());
}

TEST_F(TaskJourney, AScriptWithAnErrorIsCorrectedOnTheNextTurn) {
    const auto finished = run({u"say how many lines the hosts file has"_s});
    EXPECT_EQ(finished.status, 0) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"(-1700)"_s)) << finished.out.toStdString();
    const auto lines = contents(u"/etc/hosts"_s).count('\n');
    EXPECT_TRUE(finished.out.contains(u"The hosts file has %1 lines."_s.arg(lines))) << finished.out.toStdString();
    EXPECT_TRUE(finished.out.contains(u"✓ I counted the lines"_s)) << finished.out.toStdString();
}

TEST_F(TaskJourney, TheStepLimitEndsATaskThatGoesOn) {
    teach("task: go on\nwords: go\n\n=== 1\nOn.\n\n```applescript\nreturn 1\n```\n\n=== 2\nOn.\n\n```applescript\n"
          "return 2\n```\n");
    const auto finished = run({u"--max-steps"_s, u"2"_s, u"go on"_s});
    EXPECT_EQ(finished.status, 1);
    EXPECT_TRUE(finished.out.contains(u"hit max steps (2)"_s)) << finished.out.toStdString();
}

TEST_F(TaskJourney, ACancelEndsTheScriptButNotTheEditorItOpened) {
    const auto file = m_scratch.write(u"note.txt"_s, "note\n");
    const auto pidFile = m_scratch.path(u"pid"_s);
    teach(u"task: wait\nwords: wait\n\n=== 1\nI wait.\n\n```applescript\ntell application \"TextEdit\"\n"
          "open POSIX file \"%1\"\nend tell\ndo shell script \"echo $$ > '%2'; sleep 600; true\"\n```\n"_s
              .arg(file, pidFile)
              .toUtf8());
    const auto process = start({u"wait"_s});
    const auto shell = pidIn(pidFile);
    ASSERT_GT(shell, 0);
    process->terminate();
    EXPECT_EQ(end(process).status, 130);
    EXPECT_TRUE(waitUntil([&] { return !isAlive(shell); }));
    QStringList left;
    for (const qint64 pid : marked())
        left += QFileInfo(QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid))).fileName();
    EXPECT_TRUE(left.contains(u"mousepad"_s)) << left.join(u' ').toStdString();
    for (const QString &name : {u"osascript"_s, u"sh"_s, u"dash"_s, u"sleep"_s, u"ombru-rehearsed-agent"_s})
        EXPECT_FALSE(left.contains(name)) << name.toStdString();
}
