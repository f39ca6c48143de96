// The end of a task, however it comes, in the middle of a script that holds keys and has started what runs by itself:
// no process is left, and no key is down.
#include "platform/linux/x11/SyntheticInput.h"
#include "tests/app/Journey.h"

using namespace ombru;
using namespace ombru::test;
using namespace Qt::StringLiterals;

namespace {

class StopJourney : public Journey {
protected:
    StopJourney() {
        allow(data(), {u"System Events"_s}, ownConsentClient());
        // A signal kills a program that looks for its own faults as it kills any other.
        m_environment["ASAN_OPTIONS"] = "handle_segv=0:handle_abort=0";
        m_environment["TSAN_OPTIONS"] = "handle_segv=0:handle_abort=0";
    }

    // The task begins with these lines of script, with a key held down.
    std::shared_ptr<Process> startTask(const QString &lines) {
        teach(u"task: wait\nwords: wait\n\n=== 1\nI wait.\n\n```applescript\ntell application \"System Events\" to key "
              "down shift\n%1\n```\n\n=== 2\nDONE: over\n"_s.arg(lines)
                  .toUtf8());
        return start({u"wait"_s});
    }

    // A script that ends well, but leaves Shift down, and this for the next turn.
    std::shared_ptr<Process> startWithShiftLeftDown(const QString &next) {
        teach(u"task: wait\nwords: wait\n\n=== 1\n```applescript\ndo shell script \"xdotool keydown shift\"\n```\n\n"
              "=== 2\n%1\n"_s.arg(next)
                  .toUtf8());
        return start({u"wait"_s});
    }

    // The same, once the script has got out of the reach of groups, sessions and parents.
    std::shared_ptr<Process> startEscaping() {
        QFile::remove(m_scratch.path(u"ready"_s));
        auto process = startTask(
            u"do shell script \"cd '%1'; timeout 300 sleep 338 | cat & setsid sleep 338 & (nohup setsid sleep 338 "
            ">/dev/null 2>&1 &) ; echo $$ > ready.new; mv ready.new ready; trap 'touch asked' TERM; sleep 338; sleep 338\""_s
                .arg(m_scratch.directory()));
        EXPECT_GT(pidIn(m_scratch.path(u"ready"_s)), 0);
        EXPECT_TRUE(holdsShift());
        return process;
    }

    pid_t ombru() const {
        for (const qint64 pid : marked())
            if (QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid)) == QFileInfo(bin(u"ombru"_s)).canonicalFilePath())
                return static_cast<pid_t>(pid);
        ADD_FAILURE() << "ombru does not run: " << markedPrograms().join(u' ').toStdString();
        return static_cast<pid_t>(NO_PROCESS);
    }

    bool holdsShift() const { return heldByPrograms(m_display).keys.any(); }

    static bool hasSaid(Process &process, const QByteArray &words) {
        QByteArray said;
        return waitUntil([&] { return said.append(process.takeOutput()).contains(words); });
    }

    void expectNothingLeft(const std::string &after) {
        EXPECT_TRUE(waitUntil([this] { return marked().isEmpty(); }))
            << after << ": " << markedPrograms().join(u' ').toStdString();
        EXPECT_FALSE(holdsShift()) << after;
    }

    Display m_display = std::move(*Display::open());
};

} // namespace

TEST_F(StopJourney, ASignalThatAsksEndsTheTask) {
    for (const int signal : {SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
        const auto process = startEscaping();
        ::kill(ombru(), signal);
        const auto finished = end(process);
        EXPECT_EQ(finished.status, 130) << signal;
        EXPECT_TRUE(finished.out.contains(u"cancelled"_s)) << finished.out.toStdString();
        expectNothingLeft(std::to_string(signal));
    }
}

TEST_F(StopJourney, ASignalThatKillsOmbruEndsTheTask) {
    for (const int signal : {SIGKILL, SIGABRT, SIGSEGV}) {
        const auto process = startEscaping();
        ::kill(ombru(), signal);
        EXPECT_EQ(end(process).status, signal);
        expectNothingLeft(std::to_string(signal));
    }
}

TEST_F(StopJourney, ASecondInterruptLeavesNothingEither) {
    const auto process = startEscaping();
    const auto pid = ombru();
    ::kill(pid, SIGINT);
    // On a busy machine the script may have no time to notice that it was asked.
    EXPECT_TRUE(waitUntil([&] { return QFile::exists(m_scratch.path(u"asked"_s)) || !process->isRunning(); }));
    if (process->isRunning())
        ::kill(pid, SIGINT);
    EXPECT_EQ(end(process).status, 130);
    expectNothingLeft("twice");
}

TEST_F(StopJourney, AKilledKeeperLeavesNoKeyDown) {
    const auto process =
        startTask(u"do shell script \"ps -o ppid= $PPID > '%1'; sleep 338; true\""_s.arg(m_scratch.path(u"keeper"_s)));
    ::kill(static_cast<pid_t>(pidIn(m_scratch.path(u"keeper"_s))), SIGKILL);
    EXPECT_EQ(end(process).status, 0);
    expectNothingLeft("the keeper's end");
}

TEST_F(StopJourney, AScriptThatPrintsTooMuchLeavesNoKeyDown) {
    const auto process =
        startTask(u"set line to \"x\"\nrepeat 20 times\nset line to line & line\nend repeat\nrepeat\nlog "
                  "line\nend repeat"_s);
    const auto finished = end(process);
    EXPECT_TRUE(finished.out.contains(u"Script printed more than"_s)) << finished.out.left(1000).toStdString();
    expectNothingLeft("too much output");
}

TEST_F(StopJourney, AKilledScriptLeavesNoKeyDown) {
    const auto process = startTask(u"do shell script \"kill -KILL $PPID\""_s);
    EXPECT_EQ(end(process).status, 0);
    expectNothingLeft("the script's end");
}

TEST_F(StopJourney, AKeyThatAnEarlierScriptLeftDownIsReleasedWhileClaudeThinks) {
    for (const int signal : {SIGINT, SIGKILL}) {
        const auto process = startWithShiftLeftDown(u"@hang"_s);
        EXPECT_TRUE(hasSaid(*process, "── step 2/"));
        EXPECT_TRUE(waitUntil([this] { return markedPrograms().contains(u"ombru-rehearsed-agent"_s); }));
        EXPECT_TRUE(holdsShift());
        ::kill(ombru(), signal);
        end(process);
        expectNothingLeft(std::to_string(signal));
    }
}

TEST_F(StopJourney, AKeyThatAnEarlierScriptLeftDownIsReleasedWhileNothingRuns) {
    m_environment["XDG_CONFIG_HOME"] = m_scratch.path(u"config"_s).toUtf8();
    EXPECT_EQ(end(startProgram(u"ombru"_s, {u"settings"_s, u"settle"_s, u"60"_s})).status, 0);
    for (const int signal : {SIGINT, SIGKILL}) {
        const auto process = startWithShiftLeftDown(u"DONE: over"_s);
        EXPECT_TRUE(hasSaid(*process, "✓ script ok"));
        EXPECT_TRUE(holdsShift());
        ::kill(ombru(), signal);
        end(process);
        expectNothingLeft("the pause, " + std::to_string(signal));
    }
}

TEST_F(StopJourney, AKeyThatATaskLeftDownStaysWhenTheTaskEndsByItself) {
    const auto process = startWithShiftLeftDown(u"DONE: over"_s);
    EXPECT_EQ(end(process).status, 0);
    EXPECT_TRUE(waitUntil([this] { return marked().isEmpty(); })) << markedPrograms().join(u' ').toStdString();
    EXPECT_TRUE(holdsShift());
    releaseHeldByPrograms(m_display);
}
